#include "platform/desktop/menu_bar_extra.h"

#include "platform/desktop/screen.h"
#include "support/manual_main_queue.h"

#include <QLabel>
#include <QTest>
#include <gtest/gtest.h>

using namespace kivolo;

namespace {

const Rect desktop{0, 40, 1440, 830}; // a bar of 40 at the bottom and one of 30 at the top

class FixedScreen final : public Screen
{
public:
    std::optional<Rect> visibleFrame() const override { return desktop; }
};

} // namespace

TEST(MenuBarPanelFrame, OpensBesideItsIconOrInTheNearestCorner)
{
    const struct
    {
        const char *what;
        std::optional<Rect> icon;
        Point click;
        Point origin;
    } cases[] = {
        {"top bar", Rect{700, 875, 20, 20}, {}, {550, 390}},
        {"top bar, far right", Rect{1415, 875, 20, 20}, {}, {1120, 390}},
        {"top bar, far left", Rect{5, 875, 20, 20}, {}, {0, 390}},
        {"bottom bar", Rect{700, 10, 20, 20}, {}, {550, 40}},
        {"no place, clicked top right", std::nullopt, {1400, 890}, {1120, 390}},
        {"no place, clicked bottom left", std::nullopt, {10, 5}, {0, 40}},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(menuBarPanelFrame(320, 480, c.icon, c.click, desktop),
                  (Rect{c.origin.x, c.origin.y, 320, 480}))
            << c.what;
    }
}

TEST(MenuBarExtra, ThePanelClosesWhenItLosesTheFocus)
{
    ManualMainQueue queue;
    const FixedScreen screen;
    QWidget other;
    other.show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));

    MenuBarExtra extra(QStringLiteral("kivolo"), {}, std::make_unique<QLabel>(), screen, queue);
    extra.open();
    ASSERT_TRUE(QTest::qWaitFor([&] { return extra.panel().isActiveWindow(); }));
    EXPECT_EQ(extra.panel().size(), QSize(320, 480));
    other.activateWindow();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !extra.isOpen(); }));
}

TEST(MenuBarExtra, LooksForATrayOnlyWhileThereIsNone)
{
    ManualMainQueue queue;
    const FixedScreen screen;
    const MenuBarExtra extra(QStringLiteral("kivolo"), {}, std::make_unique<QLabel>(), screen,
                             queue);
    EXPECT_EQ(extra.isAvailable(), QSystemTrayIcon::isSystemTrayAvailable());
    EXPECT_EQ(queue.pending(), extra.isAvailable() ? 0 : 1);
}
