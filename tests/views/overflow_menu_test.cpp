#include "style/theme.h"
#include "views/overflow_menu.h"

#include "style/button.h"
#include "style/fill.h"
#include "support/x_server.h"

#include <QApplication>
#include <QMenu>
#include <QScreen>
#include <QTest>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

class OverflowMenuTest : public testing::Test
{
protected:
    OverflowMenuTest()
        : menu(new QMenu)
        , button(overflowMenu(menu))
    {
        Theme::shared().show(Palette::standardLight());
        menu->addAction(QStringLiteral("Copy"), menu, [this] { chosen += u'c'; });
        menu->addSeparator();
        addDestructiveAction(menu, QStringLiteral("Leave this circle"), [this] { chosen += u'l'; });
        button->setParent(&window);
        button->setGeometry(300, 10, 22, 27);
        window.setGeometry(200, 100, 336, 480);
    }

    void open()
    {
        window.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
        button->click();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(menu));
    }

    /// What is seen of the menu, without its shadow.
    QRect surface() const { return menu->contentsRect().translated(menu->mapToGlobal(QPoint())); }

    XServer x;
    QWidget window;
    QMenu *menu;
    Button *button;
    QString chosen;
};

TEST_F(OverflowMenuTest, HangsBelowItsButtonAndStaysOnTheScreen)
{
    open();
    const QPoint corner = button->mapToGlobal(QPoint(22, 27));
    EXPECT_EQ(surface().topLeft() + QPoint(surface().width(), 0), corner);
    menu->close();

    const QRect screen = window.screen()->geometry();
    for (const QPoint &place : {screen.topLeft(), screen.topRight(), screen.bottomRight()}) {
        menu->popup(place - QPoint(20, 20));
        EXPECT_TRUE(screen.contains(surface())) << place.x() << ' ' << place.y();
        menu->close();
    }
}

TEST_F(OverflowMenuTest, IsASurfaceWithAShadowWhereWindowsAreBlended)
{
    const auto looks = [&](bool blended) {
        open();
        const QImage picture = menu->grab().toImage();
        const QRect area = menu->contentsRect();
        const QColor material = Fill::material().color(Palette::standardLight());
        EXPECT_EQ(picture.pixelColor(area.center().x(), area.top() + 4), material);
        EXPECT_EQ(picture.rect() == area, !blended);
        if (blended) {
            EXPECT_LT(picture.pixelColor(area.topLeft()).alpha(), 60);
            EXPECT_GT(picture.pixelColor(area.center().x(), area.bottom() + 4).alpha(), 15);
            EXPECT_LE(picture.pixelColor(area.center().x(), picture.height() - 1).alpha(), 2);
        } else {
            EXPECT_EQ(picture.pixelColor(area.topLeft()).alpha(), 255);
        }
        menu->close();
    };
    looks(x.hasCompositor());
    if (x.hasCompositor())
        return;
    for (const bool claimed : {true, false}) {
        x.claimCompositor(claimed);
        ASSERT_EQ(x.hasCompositor(), claimed); // the server has heard of it
        looks(claimed);
    }
}

TEST_F(OverflowMenuTest, IsUsedByKeysAndClosedFromBesideIt)
{
    open();
    QTest::keyClick(menu, Qt::Key_Down);
    QTest::keyClick(menu, Qt::Key_Down);
    QTest::keyClick(menu, Qt::Key_Return);
    EXPECT_EQ(chosen, QStringLiteral("l"));
    EXPECT_FALSE(menu->isVisible());

    if (!x.hasCompositor())
        return;
    open();
    QTest::mousePress(menu, Qt::LeftButton, {}, {4, menu->height() / 2}); // on the shadow
    EXPECT_FALSE(menu->isVisible());
    EXPECT_EQ(chosen, QStringLiteral("l"));
}

} // namespace
} // namespace kivolo
