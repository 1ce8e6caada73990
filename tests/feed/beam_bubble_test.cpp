#include "feed/beam_bubble.h"

#include "feed/doodle_cache.h"
#include "feed/time_ago.h"
#include "staging/beams.h"
#include "style/brand.h"
#include "style/text_style.h"

#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QSignalSpy>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

constexpr qint64 now = 1'700'000'000;
constexpr qreal width = 492;

Beam beam(const QString &type, const QString &body)
{
    Beam result = noteOf(body);
    result.type = type;
    return result;
}

QImage painted(const BeamBubble &bubble)
{
    QImage image(int(width), int(bubble.height()), QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    bubble.paint(painter, {}, image.rect(), Palette::standardLight(), now);
    return image;
}

TEST(TimeAgoTest, Table)
{
    const std::pair<qint64, const char *> cases[] = {
        {-30, "now"},     {59, "now"},        {60, "1m ago"},    {3599, "59m ago"},
        {3600, "1h ago"}, {86399, "23h ago"}, {86400, "1d ago"}, {400 * 86400, "400d ago"},
    };
    for (const auto &[age, text] : cases)
        EXPECT_EQ(timeAgo(now - age, now), QLatin1String(text)) << age;
    EXPECT_EQ(timeAgo(std::numeric_limits<qint64>::max(), -2), QStringLiteral("now"));
    EXPECT_TRUE(timeAgo(std::numeric_limits<qint64>::min(), now).endsWith(QLatin1String("d ago")));
}

TEST(BubbleContentTest, FirstRuleThatMatches)
{
    const QString text = QStringLiteral("text");
    const QString picture = QStringLiteral("doodle");
    const QString body = QStringLiteral("body");
    const SymbolName hourglass = SymbolName::Hourglass;
    const SymbolName waves = SymbolName::DotRadiowavesLeftAndRight;
    const BubbleContent sealed{BubbleContent::Badge, hourglass, QStringLiteral("Time capsule"),
                               QStringLiteral("opening soon")};
    const BubbleContent opened{BubbleContent::Badge, hourglass, body,
                               QStringLiteral("time capsule opened")};
    const BubbleContent buzz{BubbleContent::Badge, waves, QStringLiteral("Buzz"), body};
    const BubbleContent doodle{BubbleContent::Picture, {}, {}, {}};
    const BubbleContent plain{BubbleContent::Text, {}, body, {}};
    const std::optional<QString> shake = QStringLiteral("shake");
    using enum DoodleLookup::State;
    const struct
    {
        const char *what;
        QString type;
        std::optional<QString> effect;
        std::optional<qint64> openAt;
        std::optional<qint64> sealed;
        DoodleLookup::State doodle;
        BubbleContent expected;
    } cases[] = {
        {"unknown type and effect", body, body, {}, {}, Pending, plain},
        {"buzz", text, shake, {}, {}, Pending, buzz},
        {"sealed doodle", picture, shake, {}, 1, Picture, sealed},
        {"sealed 0", text, {}, now, 0, Pending, opened},
        {"sealed 2 without a time", text, {}, {}, 2, Pending, plain},
        {"opened, also if a buzz", text, shake, now, {}, Pending, opened},
        {"doodle with a time", picture, {}, now, {}, Picture, doodle},
        {"doodle not decoded yet", picture, {}, {}, {}, Pending, doodle},
        {"corrupt doodle with a time", picture, {}, now, {}, NoPicture, plain},
        {"corrupt doodle that shakes", picture, shake, {}, {}, NoPicture, buzz},
    };
    for (const auto &each : cases) {
        Beam shown = beam(each.type, body);
        shown.effect = each.effect;
        shown.open_at = each.openAt;
        shown.sealed = each.sealed;
        EXPECT_EQ(BubbleContent::of(shown, each.doodle), each.expected) << each.what;
    }
}

TEST(BeamBubbleTest, DoodleFitsItsBounds)
{
    const struct
    {
        QSize picture;
        QSizeF shown;
    } cases[] = {
        {{380, 190}, {190, 95}},
        {{100, 1000}, {14, 140}},
        {{19, 14}, {190, 140}},
        {{8000, 1}, {190, 1}},
    };
    const qreal age =
        BeamBubble(beam(QStringLiteral("doodle"), {}), true, {}, width).height() - 140;
    for (const auto &[size, shown] : cases) {
        QImage picture(size, QImage::Format_ARGB32_Premultiplied);
        picture.fill(Qt::black);
        const BeamBubble bubble(beam(QStringLiteral("doodle"), {}), true,
                                {DoodleLookup::Picture, picture}, width);
        EXPECT_EQ(bubble.height(), shown.height() + age);
        const QImage row = painted(bubble);
        const int y = int(shown.height() / 2);
        EXPECT_LT(row.pixelColor(int(width - shown.width() / 2), y).lightness(), 60);
        EXPECT_EQ(row.pixelColor(int(width - shown.width()) - 2, y), QColor(Qt::white));
    }
}

TEST(BeamBubbleTest, LongTextIsShownInFullAndAHugeOneIsNot)
{
    const auto height = [](qsizetype lines) {
        const QString text = QStringLiteral("ab\n").repeated(lines);
        return BeamBubble(beam(QStringLiteral("text"), text), false, {}, width).height();
    };
    const qreal line = QFontMetricsF(textFont(TextStyle::Body)).height();
    EXPECT_NEAR(height(3333) - height(100), 3233 * line, 1); // 10,000 characters
    EXPECT_EQ(height(10'000), height(300'000));
}

TEST(DoodleCacheTest, DecodesOnceAndForgetsTheOldest)
{
    QImage drawing(80, 40, QImage::Format_RGB32);
    drawing.fill(Qt::red);
    const QString body = encodeDoodle(drawing).value();
    constexpr qsizetype one = 40 * 20 * 4;
    DoodleCache cache({40, 20}, one);
    QSignalSpy decoded(&cache, &DoodleCache::decoded);

    EXPECT_EQ(cache.find(1, body).state, DoodleLookup::Pending);
    EXPECT_EQ(cache.find(1, body).state, DoodleLookup::Pending);
    ASSERT_TRUE(decoded.wait());
    EXPECT_EQ(decoded.count(), 1);
    EXPECT_EQ(cache.find(1, body).image.size(), QSize(40, 20));

    cache.find(2, QStringLiteral("no picture"));
    ASSERT_TRUE(decoded.wait());
    EXPECT_EQ(cache.find(2, {}).state, DoodleLookup::NoPicture);
    EXPECT_EQ(cache.find(1, body).state, DoodleLookup::Picture);

    cache.find(3, body);
    ASSERT_TRUE(decoded.wait());
    EXPECT_EQ(cache.find(1, body).state, DoodleLookup::Pending);
}

} // namespace
} // namespace kivolo
