// The two scenes' windows, on a screen of any size.
#include "app/contrast.h"
#include "app/icons.h"
#include "app/main_window.h"
#include "app/panel_frame.h"
#include "support/eventually.h"
#include "support/x_server.h"

#include <QImage>
#include <QPainter>
#include <QTest>
#include <gtest/gtest.h>

using namespace kivolo;

namespace {

class MainWindowTest : public testing::Test
{
protected:
    bool isShown() { return QTest::qWaitForWindowExposed(&window); }

    // Qt keeps a frame's breadth that it has once asked for, even while the frame was being built.
    const XServer x;
    const QRect area = x.geometry(x.root());
    int made = 0;
    MainWindow window{[this] {
        ++made;
        return std::make_unique<QWidget>();
    }};
};

TEST_F(MainWindowTest, HasItsSizeOrAsMuchAsTheScreenLeaves)
{
    EXPECT_EQ(made, 0);
    window.show();
    ASSERT_TRUE(isShown());
    EXPECT_EQ(made, 1);
    EXPECT_TRUE(eventually([&] { return area.contains(x.frame(window)); }))
        << x.frame(window).width() << " x " << x.frame(window).height();
    constexpr QSize thickestFrame(80, 80);
    const QSize ideal(520, 720);
    const bool roomy = (ideal + thickestFrame).boundedTo(area.size()) == ideal + thickestFrame;
    EXPECT_EQ(window.size() == ideal, roomy);
    window.resize(10, 10);
    const QSize frame = x.frame(window).size() - window.size();
    EXPECT_TRUE(eventually([&] {
        return window.size() == QSize(420, 560).boundedTo(area.size() - frame) &&
               x.geometry(window).size() == window.size();
    })) << window.width()
        << " x " << window.height();
    window.resize(2000, 3000);
    EXPECT_EQ(window.maximumSize(), QSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX));
}

TEST(TrayHeartTest, StandsOutFromLightAndDarkPanels)
{
    constexpr double enough = 3;     // what the guidelines ask of graphics
    constexpr double mostOfIt = 0.3; // of the square; the whole heart covers 0.45
    for (const char *name : {"#ffffff", "#f0f0f0", "#2d2d2d", "#1b1b1b", "#000000"}) {
        const QColor panel{QLatin1String(name)};
        for (const int side : {16, 22, 24, 32, 48}) {
            QImage seen(side, side, QImage::Format_RGB32);
            seen.fill(panel);
            QPainter(&seen).drawPixmap(0, 0, trayHeart().pixmap(side, side));
            int standsOut = 0;
            for (int i = 0; i < side * side; ++i)
                standsOut += contrast(seen.pixelColor(i % side, i / side), panel) >= enough;
            EXPECT_GE(standsOut, mostOfIt * side * side) << name << " at " << side;
        }
    }
}

TEST_F(MainWindowTest, ComesBackOntoTheScreenFromWhereNoneIsAnyMore)
{
    int painted = 0;
    QObject::connect(&window, &MainWindow::painted, &window, [&] { ++painted; });
    window.show();
    ASSERT_TRUE(isShown());
    for (const QPoint gone : {QPoint(3 * area.width(), 60), QPoint(60, 3 * area.height()),
                              QPoint(-3 * area.width(), -3 * area.height())}) {
        window.move(gone);
        window.close(); // before the window manager brings it back
        window.show();
        ASSERT_TRUE(isShown());
        EXPECT_TRUE(eventually([&] {
            return area.contains(x.frame(window)) && x.geometry(window) == window.geometry();
        })) << "at "
            << x.frame(window).x() << ", " << x.frame(window).y();
    }
    EXPECT_EQ(made, 1);
    EXPECT_EQ(painted, 1);
}

TEST(PanelFrameTest, HasRoundCornersOnlyWhereWindowsAreBlended)
{
    auto content = std::make_unique<QWidget>();
    content->setAutoFillBackground(true);
    content->setPalette(Qt::red);
    PanelFrame frame(std::move(content));
    frame.setAttribute(Qt::WA_TranslucentBackground);
    frame.resize(320, 480);
    const auto alphaAt = [&](int px, int py) {
        QImage image(frame.size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        frame.render(&image);
        return qAlpha(image.pixel(px, py));
    };
    for (const bool square : {true, false}) {
        frame.setBlending(square ? PanelContent::Blending::None : PanelContent::Blending::Plain);
        for (const QPoint corner : {QPoint(0, 0), QPoint(319, 0), QPoint(0, 479), QPoint(319, 479)})
            EXPECT_EQ(alphaAt(corner.x(), corner.y()), square ? 255 : 0);
        EXPECT_EQ(alphaAt(160, 0), 255);
        EXPECT_EQ(alphaAt(0, 240), 255);
    }
}

} // namespace
