#include "platform/desktop/cursor_rest.h"

#include "staging/manual_main_queue.h"

#include <QGuiApplication>
#include <QLineEdit>
#include <QStyleHints>
#include <QTest>
#include <gtest/gtest.h>

using namespace kivolo;
using namespace std::chrono_literals;

TEST(CursorRest, TheCursorBlinksWhileSomebodyTypes)
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
