// What is on the floating cards.
#include "overlays/capsule_card.h"
#include "overlays/capsule_card_model.h"
#include "overlays/incoming_beam_view.h"
#include "staging/beams.h"
#include "style/brand.h"
#include "style/theme.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

Beam doodle(const QString &body)
{
    Beam beam = noteOf(body);
    beam.type = QStringLiteral("doodle");
    return beam;
}

QString blackSquare()
{
    QImage image(100, 100, QImage::Format_RGB32);
    image.fill(Qt::black);
    return encodeDoodle(image).value();
}

/// Pixels of a card, asked for in points.
class Picture
{
public:
    explicit Picture(QWidget &card, qreal scale = 1)
        : image_(card.size() * scale, QImage::Format_ARGB32_Premultiplied)
        , scale_(scale)
    {
        image_.setDevicePixelRatio(scale);
        image_.fill(Qt::transparent);
        card.render(&image_);
    }
    QColor at(qreal x, qreal y) const
    {
        return image_.pixelColor(int(x * scale_), int(y * scale_));
    }
    /// How much the strongest ink in `area` differs from the card's material.
    int ink(const QRectF &area) const
    {
        const QColor material = at(6, 80);
        int most = 0;
        for (int y = int(area.top() * scale_); y < int(area.bottom() * scale_); ++y) {
            for (int x = int(area.left() * scale_); x < int(area.right() * scale_); ++x) {
                const QColor pixel = image_.pixelColor(x, y);
                most = std::max({most, std::abs(pixel.red() - material.red()),
                                 std::abs(pixel.green() - material.green())});
            }
        }
        return most;
    }
    int inkBetween(qreal top, qreal bottom) const
    {
        return ink({30, top, image_.width() / scale_ - 60, bottom - top});
    }
    /// Whether there are letters in `area`.
    bool hasInk(const QRectF &area) const { return ink(area) > 100; }

private:
    QImage image_;
    qreal scale_;
};

class IncomingBeamCardTest : public testing::Test
{
protected:
    void SetUp() override { Theme::shared().show(Palette::standardLight()); }
};

TEST_F(IncomingBeamCardTest, SurfaceCornersAndOutline)
{
    for (const qreal scale : {1.0, 2.0}) {
        IncomingBeamView small(noteOf(QStringLiteral("hi")), false, nullptr);
        EXPECT_EQ(small.size(), QSize(300, 150));
        const Picture popup(small, scale);
        EXPECT_EQ(popup.at(0, 0).alpha(), 0);
        EXPECT_EQ(popup.at(299.5, 149.5).alpha(), 0);
        EXPECT_NEAR(popup.at(150, 130).alpha(), 242, 1);
        // Violet, more than it is the material's grey, but pale.
        const QColor pale = popup.at(150, 0);
        EXPECT_GT(pale.blue(), pale.green() + 40);
        EXPECT_GT(pale.green(), Brand::violet().green() + 40);

        IncomingBeamView large(noteOf(QStringLiteral("hi")), true, nullptr);
        EXPECT_EQ(large.size(), QSize(420, 200));
        const Picture buzz(large, scale);
        EXPECT_LT(buzz.at(1, 40).red(), 160);
        EXPECT_GT(buzz.at(418, 160).red(), 230);
        const auto reddest = [](const Picture &picture, int y) { // beside the name
            int most = 0;
            for (int x = 100; x < 200; ++x)
                most = std::max(most, picture.at(x, y).red() - picture.at(x, y).green());
            return most;
        };
        EXPECT_GT(reddest(buzz, 30), 140) << "the badge";
        EXPECT_LT(reddest(popup, 20), 40);

        large.setBlending(PanelContent::Blending::Plain); // where nothing blurs
        EXPECT_EQ(Picture(large, scale).at(210, 180).alpha(), 255);
        EXPECT_EQ(Picture(large, scale).at(0, 0).alpha(), 0);
        large.setBlending(PanelContent::Blending::None);
        EXPECT_EQ(Picture(large, scale).at(210, 180).alpha(), 255);
        EXPECT_EQ(Picture(large, scale).at(0, 0).alpha(), 255);
        EXPECT_EQ(Picture(large, scale).at(419, 199).alpha(), 255);
    }
}

TEST_F(IncomingBeamCardTest, DoodleStandsOnWhiteInItsProportions)
{
    for (const bool shake : {false, true}) {
        for (const qreal scale : {1.0, 2.0}) {
            IncomingBeamView card(doodle(blackSquare()), shake, nullptr);
            QSignalSpy ready(&card, &IncomingBeamView::contentReady);
            EXPECT_FALSE(card.isContentReady());
            // Nothing of the data URL shows while the picture is being decoded.
            EXPECT_FALSE(Picture(card).hasInk({14, shake ? 70.0 : 50.0, 250, 60}));
            ASSERT_TRUE(ready.wait());
            EXPECT_TRUE(card.isContentReady());
            EXPECT_EQ(card.accessibleDescription(), QStringLiteral("Doodle"));

            const Picture picture(card, scale);
            const qreal padding = shake ? 22 : 14;
            const qreal top = shake ? 64 : 48;
            const qreal height = shake ? 110 : 88; // as high as there is room, at most 92 or 110
            const qreal middle = shake ? 210 : 150;
            EXPECT_EQ(picture.at(padding + 1, top + height / 2), QColor(Qt::white));
            EXPECT_EQ(picture.at(middle - height / 2 + 2, top + 2), QColor(Qt::black));
            EXPECT_EQ(picture.at(middle + height / 2 - 2, top + height - 2), QColor(Qt::black));
            EXPECT_EQ(picture.at(middle - height / 2 - 2, top + height / 2), QColor(Qt::white));
            EXPECT_NE(picture.at(padding, top), QColor(Qt::white)); // the frame's corner is round
            EXPECT_NE(picture.at(middle, top + height + 2), QColor(Qt::white));
        }
    }
}

TEST_F(IncomingBeamCardTest, TextIsShownAsItIsAndWithinBounds)
{
    QString broken = blackSquare();
    broken.insert(60, u'\n');
    IncomingBeamView noPicture(doodle(broken), false, nullptr);
    QSignalSpy ready(&noPicture, &IncomingBeamView::contentReady);
    ASSERT_TRUE(ready.wait());
    EXPECT_EQ(noPicture.accessibleDescription(), broken);
    EXPECT_TRUE(Picture(noPicture).hasInk({14, 50, 270, 60}));

    for (const QString &text : {blackSquare(), QStringLiteral("<b>bold</b> <img src='x'> &amp;")}) {
        IncomingBeamView literal(noteOf(text), false, nullptr);
        EXPECT_TRUE(literal.isContentReady());
        EXPECT_EQ(literal.accessibleDescription(), text);
        EXPECT_GE(literal.laidOutLength(), 31) << "taken for markup";
    }

    // A long note runs to the lower edge of the card and not on.
    Beam longNote = noteOf(QStringLiteral("word ").repeated(200'000));
    longNote.from_handle = QString(100'000, u'W');
    IncomingBeamView card(longNote, false, nullptr);
    EXPECT_LE(card.laidOutLength(), 1024);
    EXPECT_LE(card.accessibleDescription().size(), 1024);
    const Picture picture(card);
    EXPECT_TRUE(picture.hasInk({14, 130, 250, 18}));
    // The name leaves the close button its place.
    EXPECT_FALSE(picture.hasInk({290, 14, 9, 26}));
    EXPECT_FALSE(picture.hasInk({287 - 15 - 8, 14, 6, 26}));
}

TEST_F(IncomingBeamCardTest, WhatGoesOnBeyondTheCardFadesOut)
{
    const struct
    {
        QString text;
        bool shake;
        const Palette &colors;
        qreal scale;
    } cases[] = {
        {QStringLiteral("gHgHgHg "), false, Palette::standardLight(), 1},
        {QStringLiteral("gHgHgHg "), true, Palette::standardDark(), 1},
        {QStringLiteral("🟥 "), true, Palette::standardLight(), 1.5},
        {QStringLiteral("🟥 "), true, Palette::standardDark(), 2},
    };
    for (const auto &[text, shake, colors, scale] : cases) {
        Theme::shared().show(colors);
        IncomingBeamView card(noteOf(text.repeated(60)), shake, nullptr);
        const Picture picture(card, scale);
        const qreal edge = card.height() - (shake ? 2.5 : 1); // the outline's
        const int full = picture.inkBetween(shake ? 64 : 48, edge - 16);
        EXPECT_GT(full, 150) << qPrintable(text) << scale;
        EXPECT_GT(picture.inkBetween(edge - 16, edge - 12), full / 2) << qPrintable(text) << scale;
        for (int above = 16; above > 1; --above)
            EXPECT_LE(picture.inkBetween(edge - above, edge - above + 1), full * above / 16 + 12)
                << qPrintable(text) << scale << ", " << above << " above the edge";
    }
    // And what fits stays as it is.
    for (const auto &[shake, lines, lowest] : {std::tuple(false, 5, 136.0), {true, 4, 186.0}}) {
        IncomingBeamView card(noteOf(QStringLiteral("ggg\n").repeated(lines).chopped(1)), shake,
                              nullptr);
        const Picture picture(card);
        EXPECT_GT(picture.inkBetween(lowest, lowest + 3), picture.inkBetween(48, lowest) * 9 / 10);
        EXPECT_EQ(picture.inkBetween(lowest + 6, lowest + 8), 0);
    }
}

TEST(CapsuleCardTest, CountdownText)
{
    const std::pair<qint64, const char *> cases[] = {
        {0, "0s"},         {59, "59s"},          {60, "1m 00s"},
        {3599, "59m 59s"}, {3600, "1h 00m 00s"}, {7 * 86400 + 61, "168h 01m 01s"},
    };
    for (const auto &[seconds, text] : cases)
        EXPECT_EQ(CapsuleCard::fmt(seconds), QLatin1String(text));
    EXPECT_FALSE(CapsuleCard::fmt(std::numeric_limits<qint64>::max()).startsWith(u'-'));
}

TEST(CapsuleCardTest, CountsDownAndKeepsItsSizeAndItsSecret)
{
    Beam beam = noteOf(QStringLiteral("secret"));
    beam.from_handle = QStringLiteral("Mia");
    beam.sealed = 1;
    const auto model = std::make_shared<CapsuleCardModel>(3600);
    CapsuleCard card(beam, model);
    EXPECT_EQ(card.accessibleName(), QStringLiteral("Mia's time capsule"));
    EXPECT_EQ(card.accessibleDescription(), QStringLiteral("Opens in 1h 00m 00s"));
    model->remaining = 60;
    QCoreApplication::processEvents();
    EXPECT_EQ(card.accessibleDescription(), QStringLiteral("Opens in 1m 00s"));

    beam.from_handle = QString(100'000, u'W');
    CapsuleCard crowded(beam, model);
    EXPECT_EQ(crowded.size(), QSize(290, 92));
    EXPECT_FALSE(crowded.accessibleName().contains(QLatin1String("secret")));
    const Picture picture(crowded);
    EXPECT_EQ(picture.at(0, 0).alpha(), 0);
    EXPECT_EQ(picture.at(289, 91).alpha(), 0);
    // The outline goes from violet to coral, and nothing of the name reaches it.
    EXPECT_GT(picture.at(0, 30).blue(), 240);
    EXPECT_GT(picture.at(289, 60).red(), 240);
    for (int y = 20; y < 70; ++y)
        EXPECT_EQ(picture.at(283, y), picture.at(145, 6));
}

} // namespace
} // namespace kivolo
