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

/// A view by its name, else by its type; among several the one that comes first.
const QWidget &find(const QWidget &in, const char *what)
{
    const QString name = QString::fromUtf8(what);
    if (shows<QWidget>(in, name))
        return shown<QWidget>(in, name);
    for (const QWidget *each : allShown<QWidget>(in)) {
        if (QByteArray(each->metaObject()->className()) == QByteArray("kivolo::") + what)
            return *each;
    }
    throw std::runtime_error(std::string("not shown: ") + what);
}

struct What
{
    const char *name;
    const char *within = nullptr; ///< Not the whole window.

    QRectF around(const WindowOnShow &on) const { return on.frame(outer(on)).toRectF(); }
    QRectF frame(const WindowOnShow &on) const { return on.frame(find(outer(on), name)).toRectF(); }

private:
    const QWidget &outer(const WindowOnShow &on) const
    {
        return within ? find(on.window.view(), within) : on.window.view();
    }
};

struct Inset
{
    What what;
    double left = any, top = any, right = any, bottom = any; ///< From the edges of what it is in.
    double width = any, height = any;
    bool centred = false; ///< From left to right.
};

struct Screen
{
    const char *state;
    std::vector<Inset> insets;
    /// One below, or right of, the other, and how far from the one before.
    std::vector<std::pair<What, double>> column = {}, row = {};
    bool rowCentred = false;
};

const std::vector<Screen> &screens()
{
    static const std::vector<Screen> all{
        {"feed",
         {{.what = {"ComposeHeader"}, .left = 0, .top = 0, .right = 0, .height = 34 + 2 * 12},
          {.what = {"Menu"}, .right = 14, .width = 22},
          {.what = {"Composer"}, .left = 0, .right = 0, .bottom = 0},
          {.what = {"Buzz", "Composer"}, .top = 12},
          {.what = {"Send a little hi…"}, .left = 12},
          {.what = {"Send"}, .right = 12, .bottom = 12, .width = 40, .height = 40}},
         {{{"ComposeHeader"}, any}, {{"FeedView"}, 0}, {{"Composer"}, 0}},
         {{{"Copy your invite code"}, any}, {{"Menu"}, 12}}},
        {"feed",
         {},
         {{{"Buzz", "Composer"}, any}, {{"Send"}, 10}},
         {{{"Buzz", "Composer"}, any}, {{"Capsule"}, 6}, {{"Doodle"}, 6}},
         true},
        {"five", {{.what = {"You & 4 others"}, .left = 14 + 34 + 3 * (34 - 10) + 12}}},
        {"capsule",
         {},
         {{{"1 hour"}, any}, {{"Send time capsule"}, 10 + 10}},
         {{{"1 hour"}, any}, {{"24 hours"}, 6}, {{"1 week"}, 6}},
         true},
        {"doodle",
         {{.what = {"DrawingNSView", "Composer"},
           .left = 12,
           .top = 12,
           .right = 12,
           .height = 180},
          {.what = {"Text"}, .left = 12},
          {.what = {"Send doodle"}, .right = 12, .bottom = 12}},
         {{{"DrawingNSView"}, any}, {{"Send doodle"}, 10}},
         {{{"Text"}, any}, {{"Clear"}, 8}}},
        {"empty",
         {{.what = {"Illustration"}, .top = 58 + 14 + 44, .height = 110, .centred = true},
          {.what = {"Say hi to your people"}, .centred = true}}},
        {"guide-doodle",
         {{.what = {"Stack", "FeatureGuideCard"}, .width = 290, .centred = true},
          {.what = {"Start a doodle"}, .width = 290 - 2 * 20, .centred = true}},
         {{{"Symbol", "FeatureGuideCard"}, any},
          {{"Doodle", "FeatureGuideCard"}, any},
          {{"Start a doodle"}, any},
          {{"Maybe later"}, 12}}},
        {"welcome-2",
         {{.what = {"Illustration"}, .height = 150, .centred = true},
          {.what = {"Next"}, .right = 24, .bottom = 22},
          {.what = {"Back"}, .left = 24}},
         {{{"Illustration"}, any}, {{"A note or a doodle"}, 18}, {{"Next"}, any}}},
        {"join-error",
         {{.what = {"kivolo"}, .centred = true},
          {.what = {"your name"}, .left = 18, .right = 18, .height = 32},
          {.what = {"invite code"}, .left = 18, .right = 18, .height = 32},
          {.what = {"Join"}, .left = 18, .right = 18, .height = 32},
          {.what = {"Start a circle"}, .left = 18, .right = 18, .height = 32},
          {.what = {"Enter your name and a code."}, .centred = true}},
         {{{"kivolo"}, any},
          {{"Be with your people, right from your desk"}, 12},
          {{"your name"}, 12},
          {{"invite code"}, 12},
          {{"Join"}, 12},
          {{"or"}, 12},
          {{"Start a circle"}, 12},
          {{"Enter your name and a code."}, 12}}},
        {"banner",
         {{.what = {"UpdateBanner"}, .left = 0, .top = 0, .right = 0},
          {.what = {"Symbol", "UpdateBanner"}, .left = 12},
          {.what = {"Version 1.4.0 is out"}, .top = 8}},
         {{{"UpdateBanner"}, any}, {{"ComposeHeader"}, 0}},
         {{{"Update"}, any}, {{"Symbol", "Close"}, 8}}},
        {"update-required",
         {{.what = {"Symbol"}, .centred = true},
          {.what = {"Update now"}, .left = 30 + 44, .right = 30 + 44}},
         {{{"Symbol"}, any},
          {{"Update required"}, 16},
          {{"Update to the latest Kivolo\nto keep going."}, 16},
          {{"Update now"}, 16}}},
        {"loading", {{.what = {"ActivityIndicator"}, .centred = true}}},
    };
    return all;
}

void expectPlaces(const Screen &screen, const QSize &size)
{
    SCOPED_TRACE(screen.state);
    const WindowOnShow on(QLatin1String(screen.state), size);
    for (const Inset &each : screen.insets) {
        const QRectF is = each.what.frame(on);
        const QRectF in = each.what.around(on);
        const std::string name = each.what.name;
        expectNear(is.left() - in.left(), each.left, name + ", left");
        expectNear(is.top() - in.top(), each.top, name + ", top");
        expectNear(in.right() - is.right(), each.right, name + ", right");
        expectNear(in.bottom() - is.bottom(), each.bottom, name + ", bottom");
        expectNear(is.width(), each.width, name + ", width");
        expectNear(is.height(), each.height, name + ", height");
        expectNear(is.center().x(), each.centred ? in.center().x() : any, name + ", centre");
    }
    for (size_t i = 1; i < screen.column.size(); ++i) {
        const auto &[what, gap] = screen.column[i];
        const double is = what.frame(on).top() - screen.column[i - 1].first.frame(on).bottom();
        EXPECT_GE(is, 0) << what.name;
        expectNear(is, gap, std::string(what.name) + ", below the one before");
    }
    for (size_t i = 1; i < screen.row.size(); ++i) {
        const auto &[what, gap] = screen.row[i];
        const QRectF before = screen.row[i - 1].first.frame(on);
        const QRectF is = what.frame(on);
        expectNear(is.left() - before.right(), gap, std::string(what.name) + ", right of it");
        expectNear(is.center().y(), before.center().y(), std::string(what.name) + ", in its row");
    }
    if (screen.rowCentred)
        expectNear(screen.row.front().first.frame(on).left() +
                       screen.row.back().first.frame(on).right(),
                   size.width(), "row, centred");
}

class GeometryTest : public WindowTest, public testing::WithParamInterface<QSize>
{};

INSTANTIATE_TEST_SUITE_P(Size, GeometryTest, testing::Values(idealSize, panelSize),
                         [](const auto &of) { return of.param == idealSize ? "Window" : "Panel"; });

TEST_P(GeometryTest, EverythingStandsWhereItIsLookedFor)
{
    for (const Screen &screen : screens())
        expectPlaces(screen, GetParam());
}

TEST_F(WindowTest, Waiting)
{
    // In the panel its gaps are smaller.
    expectPlaces({"waiting",
                  {{.what = {"Kivolo"}, .left = 14},
                   {.what = {"Menu"}, .right = 14},
                   {.what = {"Illustration"}, .height = 130, .centred = true},
                   {.what = {"Invite code HX7K2M4P"}, .left = 20 + 30, .right = 20 + 30},
                   {.what = {"HX7K2M4P"}, .centred = true}},
                  {{{"Illustration"}, any},
                   {{"Invite your person"}, 18},
                   {{"Invite code HX7K2M4P"}, any},
                   {{"ActivityIndicator"}, 18}},
                  {{{"ActivityIndicator"}, any}, {{"Waiting for them to join…  1/5"}, 7}}},
                 idealSize);
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
