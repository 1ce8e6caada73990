#include "feed/beam_bubble.h"

#include "feed/time_ago.h"
#include "staging/beams.h"
#include "style/brand.h"
#include "style/text_style.h"

#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
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
    const struct
    {
        qint64 age;
        const char *text;
    } cases[] = {
        {-30, "now"},       {0, "now"},        {59, "now"},
        {60, "1m ago"},     {3599, "59m ago"}, {3600, "1h ago"},
        {86399, "23h ago"}, {86400, "1d ago"}, {400 * 86400, "400d ago"},
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
    const QString hourglass = QStringLiteral("hourglass");
    const QString waves = QStringLiteral("dot.radiowaves.left.and.right");
    const BubbleContent sealed{BubbleContent::Badge, hourglass, QStringLiteral("Time capsule"),
                               QStringLiteral("opening soon")};
    const BubbleContent opened{BubbleContent::Badge, hourglass, body,
                               QStringLiteral("time capsule opened")};
    const BubbleContent buzz{BubbleContent::Badge, waves, QStringLiteral("Buzz"), body};
    const BubbleContent doodle{BubbleContent::Picture, {}, {}, {}};
    const BubbleContent plain{BubbleContent::Text, {}, body, {}};
    const std::optional<QString> shake = QStringLiteral("shake");
    const std::optional<QString> other = QStringLiteral("sparkle");
    using Lookup = DoodleLookup;
    const struct
    {
        const char *what;
        QString type;
        std::optional<QString> effect;
        std::optional<qint64> openAt;
        std::optional<qint64> sealed;
        Lookup::State doodle;
        BubbleContent expected;
    } cases[] = {
        {"note", text, {}, {}, {}, Lookup::Pending, plain},
        {"unknown type", QStringLiteral("poll"), {}, {}, {}, Lookup::Pending, plain},
        {"unknown effect", text, other, {}, {}, Lookup::Pending, plain},
        {"buzz", text, shake, {}, {}, Lookup::Pending, buzz},
        {"sealed", text, {}, now, 1, Lookup::Pending, sealed},
        {"sealed doodle", picture, shake, {}, 1, Lookup::Picture, sealed},
        {"sealed 0", text, {}, now, 0, Lookup::Pending, opened},
        {"sealed 2 without a time", text, {}, {}, 2, Lookup::Pending, plain},
        {"opened, also if a buzz", text, shake, now, {}, Lookup::Pending, opened},
        {"doodle", picture, {}, {}, {}, Lookup::Picture, doodle},
        {"doodle with a time", picture, {}, now, {}, Lookup::Picture, doodle},
        {"doodle not decoded yet", picture, {}, {}, {}, Lookup::Pending, doodle},
        {"corrupt doodle", picture, {}, {}, {}, Lookup::NoPicture, plain},
        {"corrupt doodle with a time", picture, {}, now, {}, Lookup::NoPicture, plain},
        {"corrupt doodle that shakes", picture, shake, {}, {}, Lookup::NoPicture, buzz},
    };
    for (const auto &each : cases) {
        Beam shown = beam(each.type, body);
        shown.effect = each.effect;
        shown.open_at = each.openAt;
        shown.sealed = each.sealed;
        EXPECT_EQ(BubbleContent::of(shown, each.doodle), each.expected) << each.what;
    }
}

TEST(BeamBubbleTest, LinesOfABadgeKeepTheirDistance)
{
    Beam buzz = beam(QStringLiteral("text"), QStringLiteral("HHH"));
    buzz.effect = QStringLiteral("shake");
    const QImage row = painted(BeamBubble(buzz, false, {}, width));
    const auto hasInk = [&](int y) {
        for (int x = 80; x < 110; ++x) {
            if (row.pixelColor(x, y).lightness() < 140)
                return true;
        }
        return false;
    };
    int y = 10;
    while (!hasInk(y))
        ++y;
    while (hasInk(y))
        ++y;
    const int baseline = y; // of "Buzz"
    while (!hasInk(y))
        ++y;
    const QFontMetricsF title(bold(textFont(TextStyle::Callout)));
    const QFontMetricsF subtitle(textFont(TextStyle::Caption2));
    EXPECT_GE(y - baseline, title.descent() + 1 + subtitle.ascent() - subtitle.capHeight());
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

TEST(BeamBubbleTest, SaysWhatItShows)
{
    Beam buzz = beam(QStringLiteral("text"), QStringLiteral("<i>up!</i> %1"));
    buzz.effect = QStringLiteral("shake");
    EXPECT_EQ(BeamBubble::summary(buzz, false, {}, now),
              QStringLiteral("Mia: Buzz, <i>up!</i> %1, 5m ago"));
    EXPECT_EQ(BeamBubble::summary(beam(QStringLiteral("doodle"), {}), true, {}, now),
              QStringLiteral("You: Doodle, 5m ago"));
}

} // namespace
} // namespace kivolo
