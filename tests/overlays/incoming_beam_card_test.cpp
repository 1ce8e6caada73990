#include "overlays/incoming_beam_view.h"

#include "staging/beams.h"
#include "style/brand.h"
#include "style/theme.h"

#include <QAbstractButton>
#include <QApplication>
#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

constexpr QSize popup(300, 150);
constexpr QSize buzz(420, 200);

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
    /// How much the strongest ink between two heights differs from the card's material.
    int inkBetween(qreal top, qreal bottom) const
    {
        const QColor material = at(6, 80);
        const int corner = int(30 * scale_);
        int most = 0;
        for (int y = int(top * scale_); y < int(bottom * scale_); ++y) {
            for (int x = corner; x < image_.width() - corner; ++x) {
                const QColor pixel = image_.pixelColor(x, y);
                most = std::max({most, std::abs(pixel.red() - material.red()),
                                 std::abs(pixel.green() - material.green())});
            }
        }
        return most;
    }
    /// Whether anything dark is painted in `area`, as letters are.
    bool hasInk(const QRect &area) const
    {
        for (int y = area.top(); y < area.top() + area.height(); ++y) {
            for (int x = area.left(); x < area.left() + area.width(); ++x) {
                if (at(x, y).alpha() > 200 && at(x, y).lightness() < 100)
                    return true;
            }
        }
        return false;
    }

private:
    QImage image_;
    qreal scale_;
};

/// Equal but for the rounding of translucent pixels.
testing::AssertionResult isAbout(const QColor &actual, const QColor &expected)
{
    const int difference =
        std::abs(actual.red() - expected.red()) + std::abs(actual.green() - expected.green()) +
        std::abs(actual.blue() - expected.blue()) + std::abs(actual.alpha() - expected.alpha());
    if (difference <= 4)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << qPrintable(actual.name(QColor::HexArgb)) << " is not "
                                       << qPrintable(expected.name(QColor::HexArgb));
}

QColor translucent(const Palette &colors)
{
    QColor material = colors.material;
    material.setAlpha(242);
    return material;
}

class IncomingBeamCardTest : public testing::Test
{
protected:
    void SetUp() override { Theme::shared().show(Palette::standardLight()); }
};

TEST_F(IncomingBeamCardTest, SurfaceCornersAndOutline)
{
    for (const qreal scale : {1.0, 2.0}) {
        IncomingBeamView small(noteOf(QStringLiteral("hi")), false, nullptr);
        EXPECT_EQ(small.size(), popup);
        const Picture popupPicture(small, scale);
        EXPECT_EQ(popupPicture.at(0, 0).alpha(), 0);
        EXPECT_EQ(popupPicture.at(299.5, 149.5).alpha(), 0);
        EXPECT_TRUE(isAbout(popupPicture.at(150, 130), translucent(Palette::standardLight())));
        // Violet, more than it is the material's grey, but pale.
        const QColor pale = popupPicture.at(150, 0);
        EXPECT_GT(pale.blue(), pale.green() + 40);
        EXPECT_GT(pale.green(), Brand::violet().green() + 40);

        IncomingBeamView large(noteOf(QStringLiteral("hi")), true, nullptr);
        EXPECT_EQ(large.size(), buzz);
        const Picture buzzPicture(large, scale);
        EXPECT_EQ(buzzPicture.at(0, 0).alpha(), 0);
        const QColor left = buzzPicture.at(1, 40);
        const QColor right = buzzPicture.at(418, 160);
        EXPECT_LT(left.red(), 160);
        EXPECT_GT(left.blue(), 220);
        EXPECT_GT(right.red(), 230);
        EXPECT_LT(right.blue(), 180);
    }
}

TEST_F(IncomingBeamCardTest, WithoutACompositorOpaqueAndSquare)
{
    IncomingBeamView card(noteOf(QStringLiteral("hi")), true, nullptr);
    EXPECT_EQ(card.cornerRadius(), 22);
    card.setBlending(PanelContent::Blending::None);
    const Picture picture(card);
    for (const QPointF &corner :
         {QPointF(0, 0), QPointF(419, 0), QPointF(0, 199), QPointF(419, 199)})
        EXPECT_EQ(picture.at(corner.x(), corner.y()).alpha(), 255);
    EXPECT_EQ(picture.at(210, 180).alpha(), 255);
}

TEST_F(IncomingBeamCardTest, WhereNothingBlursOpaqueButForItsCorners)
{
    IncomingBeamView card(noteOf(QStringLiteral("hi")), true, nullptr);
    EXPECT_LT(Picture(card).at(210, 180).alpha(), 255);
    card.setBlending(PanelContent::Blending::Plain);
    EXPECT_EQ(Picture(card).at(210, 180).alpha(), 255);
    EXPECT_EQ(Picture(card).at(0, 0).alpha(), 0);
}

TEST_F(IncomingBeamCardTest, FollowsThePalette)
{
    IncomingBeamView card(noteOf(QStringLiteral("hi")), false, nullptr);
    Theme::shared().show(Palette::standardDark());
    QCoreApplication::processEvents(); // widgets learn of it from the event loop
    EXPECT_TRUE(isAbout(Picture(card).at(150, 130), translucent(Palette::standardDark())));
}

TEST_F(IncomingBeamCardTest, OnlyABuzzHasTheBadge)
{
    const auto isCoralBesideTheName = [](bool shake, int y) {
        IncomingBeamView card(noteOf(QStringLiteral("hi")), shake, nullptr);
        const Picture picture(card);
        for (int x = 100; x < 200; ++x) {
            if (isAbout(picture.at(x, y), Brand::coral()))
                return true;
        }
        return false;
    };
    EXPECT_TRUE(isCoralBesideTheName(true, 30));
    EXPECT_FALSE(isCoralBesideTheName(false, 20));
}

TEST_F(IncomingBeamCardTest, DoodleStandsOnWhiteInItsProportions)
{
    for (const bool shake : {false, true}) {
        for (const qreal scale : {1.0, 2.0}) {
            IncomingBeamView card(doodle(blackSquare()), shake, nullptr);
            QSignalSpy ready(&card, &IncomingBeamView::contentReady);
            EXPECT_FALSE(card.isContentReady());
            // Nothing of the data URL shows while the picture is being decoded.
            EXPECT_FALSE(Picture(card).hasInk({14, shake ? 70 : 50, 250, 60}));
            ASSERT_TRUE(ready.wait());
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

TEST_F(IncomingBeamCardTest, WhatIsNoPictureIsShownAsText)
{
    QString broken = blackSquare();
    broken.insert(60, u'\n');
    IncomingBeamView card(doodle(broken), false, nullptr);
    QSignalSpy ready(&card, &IncomingBeamView::contentReady);
    ASSERT_TRUE(ready.wait());
    EXPECT_EQ(card.accessibleDescription(), broken);
    EXPECT_TRUE(Picture(card).hasInk({14, 50, 270, 60}));

    IncomingBeamView text(noteOf(blackSquare()), false, nullptr);
    EXPECT_TRUE(text.isContentReady());
    EXPECT_EQ(text.accessibleDescription(), blackSquare());
}

TEST_F(IncomingBeamCardTest, TextIsShownAsItIsAndWithinBounds)
{
    const QString markup = QStringLiteral("<b>bold</b> <img src='x.png'> &amp;");
    IncomingBeamView literal(noteOf(markup), false, nullptr);
    EXPECT_EQ(literal.accessibleName(), QStringLiteral("Mia"));
    EXPECT_EQ(literal.accessibleDescription(), markup);
    EXPECT_EQ(literal.laidOutLength(), markup.size());

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
        {QStringLiteral("gHgHgHg "), false, Palette::standardDark(), 1.25},
        {QStringLiteral("🟥 "), false, Palette::standardLight(), 1},
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
        for (qreal y = edge - 16; y < edge - 1; ++y)
            EXPECT_LE(picture.inkBetween(y, y + 1), full * (edge - y) / 16 + 12)
                << qPrintable(text) << scale << ", " << edge - y << " above the edge";
    }
}

TEST_F(IncomingBeamCardTest, ANoteThatFitsStaysAsItIs)
{
    const struct
    {
        bool shake;
        int lines;
        qreal lowestInk; // in the last 16 points
    } cases[] = {{false, 5, 136}, {true, 4, 186}};
    for (const auto &[shake, lines, lowestInk] : cases) {
        IncomingBeamView card(noteOf(QStringLiteral("ggg\n").repeated(lines).chopped(1)), shake,
                              nullptr);
        const Picture picture(card);
        EXPECT_GT(picture.inkBetween(lowestInk, lowestInk + 3),
                  picture.inkBetween(48, lowestInk) * 9 / 10);
        EXPECT_EQ(picture.inkBetween(lowestInk + 6, lowestInk + 8), 0);
    }
}

TEST_F(IncomingBeamCardTest, CloseButton)
{
    int closed = 0;
    auto card = std::make_unique<IncomingBeamView>(noteOf(QStringLiteral("hi")), false,
                                                   [&closed] { ++closed; });
    card->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(card.get()));
    auto *button = card->findChild<QAbstractButton *>();
    ASSERT_NE(button, nullptr);
    EXPECT_EQ(button->accessibleName(), QStringLiteral("Close"));

    QTest::mouseClick(card.get(), Qt::LeftButton, {}, {60, 110});
    EXPECT_EQ(closed, 0);
    QTest::mouseClick(button, Qt::LeftButton);
    EXPECT_EQ(closed, 1);
    QTest::keyClick(button, Qt::Key_Space);
    EXPECT_EQ(closed, 2);
}

TEST_F(IncomingBeamCardTest, MayBeDestroyedByItsCloseButton)
{
    QWidget panel;
    IncomingBeamView *card = nullptr;
    card = new IncomingBeamView(
        doodle(blackSquare()), true, [&card] { card->deleteLater(); }, &panel);
    const QPointer<IncomingBeamView> guard(card);
    card->findChild<QAbstractButton *>()->click(); // while the doodle is being decoded
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(guard.isNull());
}

} // namespace
} // namespace kivolo
