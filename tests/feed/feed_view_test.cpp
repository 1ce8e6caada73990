#include "feed/feed_view.h"

#include "doodle/doodle_url.h"
#include "staging/beams.h"
#include "staging/manual_main_queue.h"
#include "style/theme.h"
#include "support/eventually.h"

#include <QAccessible>
#include <QClipboard>
#include <QGuiApplication>
#include <QScrollBar>
#include <QTest>
#include <QTimer>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

using namespace std::chrono_literals;

constexpr qint64 now = 1'700'000'000;

Beam note(const QString &id, const QString &body = QStringLiteral("hello"))
{
    return noteOf(body, id);
}

/// Notes of one to nine lines, "0" to "count - 1".
QList<Beam> notes(int count)
{
    QList<Beam> beams;
    for (int i = 0; i < count; ++i)
        beams.append(
            note(QString::number(i),
                 QStringLiteral("some words of %1 to read, ").arg(i).repeated(1 + (i * 7) % 23)));
    return beams;
}

class FeedViewTest : public testing::Test
{
protected:
    void SetUp() override { Theme::shared().setReducedMotion(true); }
    void TearDown() override { Theme::shared().setReducedMotion(false); }

    void show(const QList<Beam> &feed, const QSize &size = {420, 500})
    {
        view = std::make_unique<FeedView>(queue);
        view->setTurnBudget(10s); // a slow machine lays out as much as a fast one
        setBeams(feed);
        view->resize(size);
        view->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
        settle();
    }

    void setBeams(const QList<Beam> &shown)
    {
        beams = shown;
        view->setBeams(beams, QStringLiteral("me"));
    }

    void settle()
    {
        ASSERT_TRUE(eventually([&] { return view->isSettled(); }));
    }

    QScrollBar &bar() const { return *view->verticalScrollBar(); }
    /// The end of the feed is 1 point of marker and the spacing below the last row.
    bool isAtEnd() const
    {
        const QRect last = view->visualRect(int(beams.size()) - 1);
        return last.top() + last.height() + 11 == view->viewport()->height();
    }

    ManualMainQueue queue;
    QList<Beam> beams;
    std::unique_ptr<FeedView> view;
};

TEST_F(FeedViewTest, MovesToTheEndWhenTheNumberOfBeamsChangesUntilTheUserScrolls)
{
    Theme::shared().setReducedMotion(false);
    show(notes(60));
    EXPECT_TRUE(isAtEnd()); // without moving
    EXPECT_EQ(bar().maximum() - bar().value(), 14);
    view->resize(300, 350);
    EXPECT_TRUE(isAtEnd());
    const int end = bar().value();
    setBeams(beams + QList{note(QStringLiteral("newest"))});
    EXPECT_EQ(bar().value(), end) << "without a move";
    settle();
    EXPECT_TRUE(isAtEnd());
    for (const bool wheel : {false, true}) {
        bar().setValue(100);
        settle();
        const int place = bar().value();
        beams[59].body = QStringLiteral("changed");
        setBeams(beams);
        settle();
        EXPECT_EQ(bar().value(), place);
        int places = 0;
        const auto watch =
            QObject::connect(&bar(), &QScrollBar::valueChanged, [&](int) { ++places; });
        setBeams(beams + QList{note(QStringLiteral("new"))});
        ASSERT_TRUE(eventually([&] { return bar().value() > place + 20; }));
        if (wheel)
            bar().triggerAction(QAbstractSlider::SliderSingleStepSub);
        const int stopped = bar().value();
        settle();
        EXPECT_EQ(bar().value() == stopped, wheel);
        EXPECT_EQ(isAtEnd(), !wheel);
        EXPECT_GT(places, wheel ? 1 : 3);
        QObject::disconnect(watch);
    }
}

TEST_F(FeedViewTest, AHostileRowIsLaidOutOverManyTurns)
{
    const struct
    {
        const char *what;
        QString body;
        int leastTurns;
    } cases[] = {
        {"emoji", QStringLiteral("😀🦊🌈").repeated(250), 20},
        {"marks", QString(1'000'000, QChar(0x301)), 2},
        {"one endless character", QStringLiteral("😀\u200D").repeated(700), 20},
    };
    for (const auto &[what, body, leastTurns] : cases) {
        show(notes(20));
        view->setTurnBudget(0ms); // one step a turn
        setBeams(beams + QList{note(QStringLiteral("hostile"), body)});
        int turns = 0;
        QTimer clock;
        QObject::connect(&clock, &QTimer::timeout, [&] { ++turns; });
        clock.start(0);
        EXPECT_TRUE(eventually([&] { return view->isSettled(); })) << what;
        EXPECT_GE(turns, leastTurns) << what;
        EXPECT_TRUE(isAtEnd()) << what;
    }
}

TEST_F(FeedViewTest, KeysMoveAMarkedRowAndCopyIt)
{
    const QString body = QStringLiteral("<b>the text</b>");
    Beam sealed = note(QStringLiteral("sealed"), body);
    sealed.sealed = 1;
    sealed.open_at = now + 100;
    Beam opened = note(QStringLiteral("opened"), body);
    opened.open_at = now;
    Beam buzz = note(QStringLiteral("buzz"), body);
    buzz.effect = QStringLiteral("shake");
    Beam corrupt = note(QStringLiteral("corrupt"), QStringLiteral("no picture"));
    corrupt.type = QStringLiteral("doodle");
    QImage drawing(380, 190, QImage::Format_RGB32);
    drawing.fill(Qt::red);
    Beam doodle = note(QStringLiteral("doodle"), encodeDoodle(drawing).value());
    doodle.type = QStringLiteral("doodle");
    show({note(QStringLiteral("text"), body), sealed, opened, buzz, corrupt, doodle}, {420, 900});

    const QImage plain = view->grab().toImage();
    view->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(view.get()));
    view->clearFocus();
    view->setFocus(Qt::TabFocusReason);
    EXPECT_EQ(view->currentRow(), 5);
    EXPECT_NE(view->grab().toImage(), plain); // marked
    QTest::keyClick(view.get(), Qt::Key_Home);

    const QString expected[] = {body, QStringLiteral("Time capsule"), body,
                                body, QStringLiteral("no picture"),   {}};
    const QClipboard &clipboard = *QGuiApplication::clipboard();
    for (int row = 0; row < 6; ++row) {
        EXPECT_EQ(view->currentRow(), row);
        QGuiApplication::clipboard()->clear();
        QTest::keySequence(view.get(), QKeySequence::Copy);
        EXPECT_TRUE(eventually([&] {
            return expected[row].isEmpty() ? clipboard.image().size() == QSize(380, 190)
                                           : clipboard.text() == expected[row];
        })) << row;
        QTest::keyClick(view.get(), Qt::Key_Down);
    }
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->visualRect(1).center());
    EXPECT_EQ(view->currentRow(), 1);
    view->clearFocus();
    EXPECT_EQ(view->grab().toImage(), plain);
}

TEST_F(FeedViewTest, AgesGoOnOnlyWhileTheyAreShown)
{
    show({note(QStringLiteral("a"))});
    const QImage before = view->grab().toImage();
    const auto waiting = queue.pending();
    queue.advance(60s);
    EXPECT_NE(view->grab().toImage(), before);
    view->hide();
    EXPECT_EQ(queue.pending(), waiting - 1);
    view->show();
    EXPECT_EQ(queue.pending(), waiting);
}

TEST_F(FeedViewTest, AssistiveTechnologyFindsTheRows)
{
    QList<Beam> feed = notes(10'000);
    feed[1].sealed = 1;
    feed[2].from_member = QStringLiteral("me");
    feed[2].body = QStringLiteral("mine");
    show(feed);
    QAccessibleInterface *list = QAccessible::queryAccessibleInterface(view.get());
    ASSERT_TRUE(list);
    EXPECT_EQ(list->role(), QAccessible::List);
    ASSERT_EQ(list->childCount(), 10'000);
    QAccessibleInterface *sealed = list->child(1);
    EXPECT_EQ(sealed->role(), QAccessible::ListItem);
    EXPECT_EQ(sealed->text(QAccessible::Name),
              QStringLiteral("Mia: Time capsule, opening soon, 5m ago"));
    EXPECT_EQ(list->child(2)->text(QAccessible::Name), QStringLiteral("You: mine, 5m ago"));
    EXPECT_TRUE(sealed->state().offscreen);
    QAccessibleInterface *last = list->child(9'999);
    EXPECT_TRUE(last->rect().intersects(list->rect()));
    EXPECT_EQ(list->childAt(last->rect().center().x(), last->rect().center().y()), last);

    // An item goes with its row and stays with it.
    setBeams(beams.mid(1));
    settle();
    EXPECT_EQ(list->childCount(), 9'999);
    EXPECT_EQ(list->indexOfChild(sealed), 0);
    EXPECT_EQ(list->child(0), sealed);
    EXPECT_EQ(list->indexOfChild(last), 9'998);
    EXPECT_EQ(last->parent(), list);
}

} // namespace
} // namespace kivolo
