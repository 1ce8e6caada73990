#include "feed/feed_view.h"

#include "doodle/doodle_url.h"
#include "feed/feed_model.h"
#include "staging/manual_main_queue.h"
#include "style/scroll_bar.h"
#include "style/text_style.h"
#include "style/theme.h"
#include "support/eventually.h"

#include <QAccessible>
#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
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
    Beam beam;
    beam.id = id;
    beam.from_member = QStringLiteral("m2");
    beam.type = QStringLiteral("text");
    beam.body = body;
    beam.created_at = now - 300;
    beam.from_handle = QStringLiteral("Mia");
    beam.from_emoji = QStringLiteral("🦊");
    return beam;
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

QList<Beam> named(const QString &ids)
{
    QList<Beam> beams;
    for (const QChar id : ids)
        beams.append(
            note(QString(id.toLower()), id.isUpper() ? QStringLiteral("other") : QString()));
    return beams;
}

/// Rows are named by letters; a capital one has another text.
TEST(FeedModelTest, TellsOnlyWhatHasChanged)
{
    const struct
    {
        const char *what;
        QString before;
        QString after;
        QString changes; // + inserted, - removed, * changed
    } cases[] = {
        {"nothing", QStringLiteral("abc"), QStringLiteral("abc"), {}},
        {"the first", {}, QStringLiteral("ab"), QStringLiteral("+0-1 ")},
        {"appended", QStringLiteral("abc"), QStringLiteral("abcde"), QStringLiteral("+3-4 ")},
        {"opened in its place", QStringLiteral("abc"), QStringLiteral("aBc"),
         QStringLiteral("*1-1 ")},
        {"opened, and one more", QStringLiteral("abc"), QStringLiteral("Abcd"),
         QStringLiteral("+3-3 *0-0 ")},
        {"in the middle", QStringLiteral("ac"), QStringLiteral("abc"), QStringLiteral("+1-1 ")},
        {"the window of the history moves", QStringLiteral("abcd"), QStringLiteral("cdef"),
         QStringLiteral("-0-1 +2-3 ")},
        {"another circle", QStringLiteral("ab"), QStringLiteral("xyz"),
         QStringLiteral("-0-1 +0-2 ")},
        {"left", QStringLiteral("abc"), {}, QStringLiteral("-0-2 ")},
        {"one goes, one changes", QStringLiteral("abcde"), QStringLiteral("acDe"),
         QStringLiteral("-1-1 *2-2 ")},
        {"the same id twice", QStringLiteral("aab"), QStringLiteral("aabb"),
         QStringLiteral("+3-3 ")},
    };
    for (const auto &[what, before, after, expected] : cases) {
        FeedModel model;
        model.update(named(before), {});
        QString changes;
        const auto log = [&](const char *sign) {
            return [&changes, sign](const QModelIndex &, int first, int last) {
                changes += QStringLiteral("%1%2-%3 ").arg(QLatin1String(sign)).arg(first).arg(last);
            };
        };
        QObject::connect(&model, &QAbstractItemModel::rowsInserted, log("+"));
        QObject::connect(&model, &QAbstractItemModel::rowsRemoved, log("-"));
        QObject::connect(&model, &QAbstractItemModel::dataChanged,
                         [&](const QModelIndex &first, const QModelIndex &last) {
                             log("*")({}, first.row(), last.row());
                         });
        model.update(named(after), {});
        EXPECT_EQ(changes, expected) << what;
        QString rows;
        for (int i = 0; i < model.rowCount(); ++i) {
            const Beam &beam = model.row(i).beam;
            rows += beam.body.isEmpty() ? beam.id : beam.id.toUpper();
        }
        EXPECT_EQ(rows, after) << what;
    }
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

    void append(const Beam &beam)
    {
        setBeams(beams + QList{beam});
        settle();
    }

    QScrollBar &bar() const { return *view->verticalScrollBar(); }
    QModelIndex index(int row) const { return view->model()->index(row, 0); }
    QModelIndex lastRow() const { return index(view->model()->rowCount() - 1); }
    /// The end of the feed is 1 point of marker and the spacing below the last row.
    int endBelowLastRow() const { return bottomOf(lastRow()) + 11; }
    int bottomOf(const QModelIndex &row) const
    {
        const QRect rect = view->visualRect(row);
        return rect.top() + rect.height();
    }
    bool isAtEnd() const { return endBelowLastRow() == view->viewport()->height(); }

    ManualMainQueue queue;
    QList<Beam> beams;
    std::unique_ptr<FeedView> view;
};

TEST_F(FeedViewTest, StandsWhereTheColumnSays)
{
    show({note(QStringLiteral("a")), note(QStringLiteral("b"))});
    const QRect first = view->visualRect(index(0));
    EXPECT_EQ(first.topLeft(), QPoint(14, 14));
    EXPECT_EQ(first.width(), 420 - 28);
    EXPECT_EQ(view->visualRect(index(1)).top(), 14 + first.height() + 10);
    EXPECT_EQ(bar().maximum(), 0);
}

TEST(ScrollBarTest, ShowsWhichWayThereIsMoreHoweverLittle)
{
    ScrollBar bar;
    bar.resize(ScrollBar::barWidth, 500);
    bar.setPageStep(496);
    for (const int overflow : {4, 100, 100'000}) {
        bar.setRange(0, overflow);
        bar.setValue(0);
        const QColor track = Theme::shared().colors().window;
        const QImage atTop = bar.grab().toImage();
        EXPECT_NE(atTop.pixelColor(4, 10), track) << overflow;
        EXPECT_EQ(atTop.pixelColor(4, 480), track) << overflow;
        bar.setValue(overflow);
        const QImage atEnd = bar.grab().toImage();
        EXPECT_EQ(atEnd.pixelColor(4, 20), track) << overflow;
        EXPECT_NE(atEnd.pixelColor(4, 490), track) << overflow;
    }
}

TEST_F(FeedViewTest, ScrollsToTheEndWhenTheNumberOfBeamsChanges)
{
    show(notes(200));
    EXPECT_TRUE(isAtEnd());
    EXPECT_EQ(bar().maximum() - bar().value(), 14); // the padding lies below the marker

    bar().setValue(1000);
    settle();
    const int place = bar().value();
    QList<Beam> sameLength = notes(200);
    sameLength[199].body = QStringLiteral("changed");
    setBeams(sameLength);
    settle();
    EXPECT_EQ(bar().value(), place);

    append(note(QStringLiteral("new"), QStringLiteral("a line\n").repeated(7)));
    EXPECT_TRUE(isAtEnd());

    // What grows at the end stays in sight.
    sameLength = beams;
    sameLength[200].body = QStringLiteral("a line\n").repeated(20);
    setBeams(sameLength);
    settle();
    EXPECT_TRUE(isAtEnd());
    view->resize(300, 350);
    settle();
    EXPECT_TRUE(isAtEnd());

    setBeams({});
    settle();
    EXPECT_EQ(bar().maximum(), 0);
}

TEST_F(FeedViewTest, MovesThereUntilTheUserScrolls)
{
    Theme::shared().setReducedMotion(false);
    show(notes(60));
    EXPECT_TRUE(isAtEnd()); // without moving
    bar().setValue(0);
    settle();
    for (const bool wheel : {false, true}) {
        QList<int> places;
        const auto watch = QObject::connect(&bar(), &QScrollBar::valueChanged,
                                            [&](int place) { places.append(place); });
        setBeams(beams + QList{note(QStringLiteral("new"))});
        ASSERT_TRUE(eventually([&] { return bar().value() > 20; }));
        if (wheel) {
            bar().triggerAction(QAbstractSlider::SliderSingleStepSub);
            const int stopped = bar().value();
            settle();
            EXPECT_EQ(bar().value(), stopped);
            EXPECT_FALSE(isAtEnd());
        } else {
            settle();
            EXPECT_TRUE(isAtEnd());
            EXPECT_GT(places.size(), 3);
            bar().setValue(0);
        }
        QObject::disconnect(watch);
    }
}

TEST_F(FeedViewTest, WhatIsVisibleKeepsItsPlaceWhenGuessesBecomeExact)
{
    show(notes(10'000));
    bar().setValue(bar().maximum() / 2);
    settle();
    // Up again and again, by less than a page: the rows that come into sight were never laid out.
    for (int step = 0; step < 60; ++step) {
        const QModelIndex row =
            view->indexAt({60, 20}).isValid() ? view->indexAt({60, 20}) : view->indexAt({60, 31});
        ASSERT_TRUE(row.isValid());
        const int before = view->visualRect(row).top();
        bar().triggerAction(QAbstractSlider::SliderSingleStepSub);
        EXPECT_EQ(view->visualRect(row).top(), before + bar().singleStep());
        if (step % 7 == 0) {
            settle();
            EXPECT_EQ(view->visualRect(row).top(), before + bar().singleStep());
        }
    }
    const QModelIndex row =
        view->indexAt({60, 250}).isValid() ? view->indexAt({60, 250}) : view->indexAt({60, 261});
    const int before = view->visualRect(row).top();
    QList<Beam> feed = beams;
    feed[3].body = QStringLiteral("a line\n").repeated(40); // far above
    setBeams(feed);
    settle();
    EXPECT_EQ(view->visualRect(row).top(), before);
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
        QElapsedTimer all;
        all.start();
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
    EXPECT_EQ(view->currentIndex().row(), 5);
    EXPECT_NE(view->grab().toImage(), plain); // marked
    QTest::keyClick(view.get(), Qt::Key_Home);

    const QString expected[] = {body, QStringLiteral("Time capsule"), body,
                                body, QStringLiteral("no picture"),   {}};
    const QClipboard &clipboard = *QGuiApplication::clipboard();
    for (int row = 0; row < 6; ++row) {
        EXPECT_EQ(view->currentIndex().row(), row);
        QGuiApplication::clipboard()->clear();
        QTest::keySequence(view.get(), QKeySequence::Copy);
        EXPECT_TRUE(eventually([&] {
            return expected[row].isEmpty() ? clipboard.image().size() == QSize(380, 190)
                                           : clipboard.text() == expected[row];
        })) << row;
        QTest::keyClick(view.get(), Qt::Key_Down);
    }
}

TEST_F(FeedViewTest, KeysReachEverythingOfAHighRow)
{
    show({note(QStringLiteral("a")),
          note(QStringLiteral("b"), QStringLiteral("a line\n").repeated(60)),
          note(QStringLiteral("c"))});
    QTest::keyClick(view.get(), Qt::Key_Home);
    EXPECT_EQ(bar().value(), 0);
    QTest::keyClick(view.get(), Qt::Key_Down);
    EXPECT_EQ(view->currentIndex().row(), 1);
    int last = -1;
    for (int presses = 0; view->currentIndex().row() == 1 && presses < 100; ++presses) {
        EXPECT_GT(bar().value(), last);
        EXPECT_LE(bar().value() - last, view->viewport()->height());
        last = bar().value();
        QTest::keyClick(view.get(), Qt::Key_Down);
    }
    EXPECT_EQ(view->currentIndex().row(), 2);
    EXPECT_LE(bottomOf(lastRow()), view->viewport()->height());
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {},
                      {100, view->visualRect(index(1)).bottom() - 30});
    EXPECT_EQ(view->currentIndex().row(), 1);
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
