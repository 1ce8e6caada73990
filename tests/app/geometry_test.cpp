// Where the things that a person looks for stand on every screen, in points.
#include "app/window_on_show.h"
#include "feed/beam_bubble.h"
#include "feed/feed_view.h"
#include "style/symbols.h"
#include "style/text_style.h"
#include "style/theme.h"
#include "support/contrast.h"

#include <QApplication>
#include <QFontMetricsF>
#include <cmath>

namespace kivolo {
namespace {

constexpr double any = std::numeric_limits<double>::quiet_NaN();

double line(const QFont &font)
{
    return std::ceil(QFontMetricsF(font).height());
}

void expectNear(double is, double should, const std::string &what)
{
    EXPECT_TRUE(std::isnan(should) || std::abs(is - should) <= 1)
        << what << ": " << is << " instead of " << should;
}

/// By its name, else by its type; among several the one that comes first.
QRectF frameOf(const WindowOnShow &on, const char *what)
{
    const QString name = QString::fromUtf8(what);
    if (shows<QWidget>(on.window.view(), name))
        return on.frame(on.named<QWidget>(name)).toRectF();
    for (const QWidget *each : on.all<QWidget>()) {
        if (QByteArray(each->metaObject()->className()) == QByteArray("kivolo::") + what)
            return on.frame(*each).toRectF();
    }
    throw std::runtime_error(std::string("not shown: ") + what);
}

struct Place
{
    const char *what;
    double left = any, top = any, right = any, bottom = any; ///< From the window's edges.
    double width = any, height = any;
    bool centred = false;            ///< From left to right.
    double below = any, after = any; ///< How far from the one before.
};

struct Screen
{
    const char *state;
    std::vector<Place> places;
};

const Screen everywhere[] = {
    {"feed",
     {{.what = "ComposeHeader", .left = 0, .top = 0, .right = 0, .height = 34 + 2 * 12},
      {.what = "FeedView", .below = 0},
      {.what = "Composer", .left = 0, .right = 0, .bottom = 0, .below = 0},
      {.what = "Send a little hi…", .left = 12},
      {.what = "Send", .right = 12, .bottom = 12, .width = 40, .height = 40},
      {.what = "Copy your invite code"},
      {.what = "Menu", .right = 14, .width = 22, .after = 12}}},
    {"guide-doodle",
     {{.what = "Start a doodle", .width = 290 - 2 * 20, .centred = true},
      {.what = "Maybe later", .centred = true, .below = 12}}},
    {"join-error",
     {{.what = "kivolo", .centred = true},
      {.what = "Be with your people, right from your desk", .below = 12},
      {.what = "your name", .left = 18, .right = 18, .height = 32, .below = 12},
      {.what = "invite code", .left = 18, .right = 18, .height = 32, .below = 12},
      {.what = "Join", .left = 18, .right = 18, .height = 32, .below = 12},
      {.what = "or", .below = 12},
      {.what = "Start a circle", .left = 18, .right = 18, .height = 32, .below = 12},
      {.what = "Enter your name and a code.", .centred = true, .below = 12}}},
    {"banner",
     {{.what = "UpdateBanner", .left = 0, .top = 0, .right = 0},
      {.what = "ComposeHeader", .below = 0},
      {.what = "Version 1.4.0 is out", .top = 8}}},
};

// In the panel its gaps are smaller.
const Screen waiting{"waiting",
                     {{.what = "Illustration", .height = 130, .centred = true},
                      {.what = "Invite your person", .centred = true, .below = 18},
                      {.what = "Invite code HX7K2M4P", .left = 50, .right = 50},
                      {.what = "ActivityIndicator", .below = 18},
                      {.what = "Waiting for them to join…  1/5", .after = 7}}};

void expectPlaces(const Screen &screen, const QSize &size)
{
    const WindowOnShow on(QLatin1String(screen.state), size);
    QRectF before;
    for (const Place &place : screen.places) {
        const QRectF is = frameOf(on, place.what);
        const std::string name = std::string(screen.state) + ": " + place.what;
        expectNear(is.left(), place.left, name + ", left");
        expectNear(is.top(), place.top, name + ", top");
        expectNear(size.width() - is.right(), place.right, name + ", right");
        expectNear(size.height() - is.bottom(), place.bottom, name + ", bottom");
        expectNear(is.width(), place.width, name + ", width");
        expectNear(is.height(), place.height, name + ", height");
        expectNear(is.center().x(), place.centred ? size.width() / 2. : any, name + ", centre");
        expectNear(is.top() - before.bottom(), place.below, name + ", below the one before");
        expectNear(is.left() - before.right(), place.after, name + ", right of the one before");
        before = is;
    }
}

TEST_F(WindowTest, EverythingStandsWhereItIsLookedFor)
{
    for (const QSize &size : {idealSize, panelSize}) {
        for (const Screen &screen : everywhere)
            expectPlaces(screen, size);
    }
    expectPlaces(waiting, idealSize);
}

TEST_F(WindowTest, Rows)
{
    const WindowOnShow on(QStringLiteral("feed"), idealSize);
    auto *feed = on.all<FeedView>().first();
    const auto row = [&](int index) { return QRectF(feed->visualRect(index)); };
    const auto bubble = [&](int index) {
        const Beam &beam = on.window.store().feed->at(index);
        return BeamBubble(beam, beam.from_member == *on.window.store().memberId, {}, 492)
            .bubble({});
    };
    const double age = line(systemFont(9));
    const QFont body = textFont(TextStyle::Body);
    const QFont title = bold(textFont(TextStyle::Callout));
    const double badge = line(title) + 1 + line(textFont(TextStyle::Caption2)) + 2 * 10;
    const std::tuple<const char *, double, double> numbers[] = {
        {"first row, below the feed's edge", row(0).top(), 14},
        {"rows, from the left", row(0).left(), 14},
        {"rows, from the right", row(0).right(), 520 - 14},
        {"rows, apart", row(1).top() - row(0).bottom(), 10},
        {"note", row(0).height(), line(body) + 2 * 9 + 3 + age},
        {"buzz", row(3).height(), badge + 3 + age},
        {"capsule", row(4).height(), badge + 3 + age},
        {"doodle of 496 by 180 in 190 by 140", row(2).height(), 190. * 180 / 496 + 3 + age},
        {"their bubble, after an emoji of 26 and 6", bubble(0).left(), 26 + 6},
        {"my bubble, at the right", bubble(1).right(), 492},
        {"badge: 14 left and right, 8 after its symbol", bubble(4).width(),
         QFontMetricsF(title).horizontalAdvance(QStringLiteral("Time capsule")) + symbolSide(16) +
             8 + 2 * 14},
    };
    for (const auto &[what, is, should] : numbers)
        expectNear(is, should, what);
    EXPECT_LE(bubble(6).right(), 492 - 44 - 6) << "a long note keeps away from the far edge";
}

TEST_F(WindowTest, RingOfAnAvatarIsWhole)
{
    const WindowOnShow on(QStringLiteral("feed"), idealSize);
    constexpr int scale = 8;
    QImage image(QSize(120, 58) * scale, QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    on.window.view().render(&image, {}, QRect(0, 0, 120, 58));
    const auto at = [&](double x, double y) {
        return image.pixelColor(int(x * scale), int(y * scale)).lightness();
    };
    // Half of the line of 1.2 lies beyond the circle from 14 to 48 and from 12 to 46.
    EXPECT_GT(at(14 - 0.4, 29), at(14 - 1, 29) + 20);
    EXPECT_GT(at(31, 12 - 0.4), at(31, 12 - 1) + 20);
    EXPECT_GT(at(31, 46 + 0.4), at(31, 46 + 1) + 20);
}

TEST_F(WindowTest, WhatIsBeingSentCanBeRead)
{
    for (const Palette *each : {&Palette::standardLight(), &Palette::standardDark()}) {
        Theme::shared().show(*each);
        const WindowOnShow on(QStringLiteral("sending-doodle"), idealSize);
        const QImage button = on.named<Button>(QStringLiteral("Sending…"))
                                  .grab()
                                  .toImage()
                                  .convertedTo(QImage::Format_RGB32);
        const QColor face = button.pixelColor(10, button.height() / 2);
        double most = 1;
        for (int x = 10; x < button.width() - 10; ++x) {
            for (int y = 8; y < button.height() - 8; ++y)
                most = std::max(most, contrast(button.pixelColor(x, y), face));
        }
        EXPECT_GE(most, 4.5) << (each->dark ? "dark" : "light");
    }
    Theme::shared().follow({});
}

} // namespace
} // namespace kivolo
