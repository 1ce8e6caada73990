#include "platform/desktop/application.h"
#include "platform/desktop/cursor_rest.h"
#include "platform/desktop/key_guard.h"
#include "staging/manual_main_queue.h"
#include "support/eventually.h"
#include "support/x_server.h"

#include <QGuiApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QStyleHints>
#include <QVBoxLayout>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

/// A window like the program's, which somebody used before turning to another program.
class ActivationTest : public testing::Test
{
protected:
    ActivationTest()
    {
        auto *layout = new QVBoxLayout(&window);
        layout->addWidget(&field);
        layout->addWidget(&button);
        QObject::connect(&field, &QLineEdit::returnPressed, &window, [this] { ++presses; });
        QObject::connect(&button, &QPushButton::clicked, &window, [this] { ++presses; });
        new QShortcut(Qt::Key_F2, &window, [this] { ++presses; });
        window.resize(300, 200);
        window.show();
        field.setFocus();
    }
    void SetUp() override
    {
        giveFocusTo(idOf(window));
        giveFocusTo(other);
    }
    void giveFocusTo(xcb_window_t chosen)
    {
        constexpr std::uint32_t byTheUser = 2; // window managers may refuse a program's own wish
        ASSERT_TRUE(eventually([&] { return x.isViewable(chosen); }));
        x.ask(chosen, "_NET_ACTIVE_WINDOW", {byTheUser});
        ASSERT_TRUE(eventually([&] {
            return x.activeWindow() == chosen &&
                   window.isActiveWindow() == (chosen == idOf(window));
        }));
    }
    bool isInFront() const
    {
        return eventually(
            [&] { return window.isActiveWindow() && x.activeWindow() == idOf(window); });
    }

    ManualMainQueue queue;
    XServer x;
    const xcb_window_t other = x.addWindow();
    QWidget window;
    QLineEdit field{&window};
    QPushButton button{&window};
    int presses = 0;
};

TEST_F(ActivationTest, WhatIsTypedElsewhereGetsNowhereUntilTheUserComes)
{
    const QPoint corner = window.geometry().topLeft() + QPoint(3, 3);
    const struct
    {
        const char *what;
        QString comes;
    } cases[] = {
        {"Tab", u"key Tab"_s},
        {"Shift and Tab", u"key shift+Tab"_s},
        {"a click beside the field", u"mousemove %1 %2 click 1"_s.arg(corner.x()).arg(corner.y())},
    };
    for (const auto &[what, comes] : cases) {
        SCOPED_TRACE(what);
        application::activate(queue);
        ASSERT_TRUE(isInFront());
        EXPECT_FALSE(field.hasFocus());
        ASSERT_TRUE(input(u"key h i space Return F2 BackSpace"_s));
        button.setFocus(); // as a screen does that is shown now
        ASSERT_TRUE(input(u"key h i space Return"_s));
        ASSERT_TRUE(eventually([&] { return !button.hasFocus(); }));
        ASSERT_TRUE(input(comes));
        ASSERT_TRUE(eventually([&] { return button.hasFocus(); }));
        EXPECT_EQ(presses, 0);
        EXPECT_EQ(field.text(), QString());
        ASSERT_TRUE(input(u"key space"_s));
        EXPECT_TRUE(eventually([&] { return presses == 1; }));
        presses = 0;
        field.setFocus();
        giveFocusTo(other);
    }
}

TEST_F(ActivationTest, KeysAreTheUsersWhereTheUserHasBroughtTheWindow)
{
    const auto activate = [&] {
        giveFocusTo(other);
        application::activate(queue);
        ASSERT_TRUE(isInFront());
    };
    const std::pair<const char *, std::function<void()>> ways[] = {
        {"later",
         [&] {
             KeyGuard::watch(window, queue); // and the desktop refuses
             queue.advance(3s);
             giveFocusTo(idOf(window));
         }},
        {"in use", [&] { application::activate(queue); }},
        {"left and come back",
         [&] {
             activate();
             giveFocusTo(other);
             giveFocusTo(idOf(window));
         }},
        {"started once more",
         [&] {
             activate();
             application::raise(window);
         }},
    };
    for (const auto &[way, come] : ways) {
        come();
        field.clear();
        ASSERT_TRUE(input(u"key a"_s));
        EXPECT_TRUE(eventually([&] { return field.text() == u"a"_s; })) << way;
    }
}

TEST(CursorRestTest, TheCursorBlinksWhileSomebodyTypes)
{
    const auto blinks = [] { return QGuiApplication::styleHints()->cursorFlashTime() > 0; };
    ASSERT_TRUE(blinks());
    ManualMainQueue queue;
    QLineEdit field;
    {
        const CursorRest rest(queue);
        queue.advance(9s);
        QTest::keyClick(&field, Qt::Key_A);
        queue.advance(9s);
        EXPECT_TRUE(blinks());
        queue.advance(1s);
        EXPECT_FALSE(blinks());
        EXPECT_EQ(queue.pending(), 0) << "woken for nothing";
        QTest::mouseClick(&field, Qt::LeftButton);
        EXPECT_TRUE(blinks());
        queue.advance(10s);
        EXPECT_FALSE(blinks());
        QTest::keyClick(&field, Qt::Key_B);
    }
    EXPECT_TRUE(blinks());
}

} // namespace
} // namespace kivolo
