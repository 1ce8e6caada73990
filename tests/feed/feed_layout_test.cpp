// Which rows there are, where they stand and which of them are measured: what knows no display.
#include "feed/feed_layout.h"
#include "feed/feed_model.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <random>

namespace kivolo {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using Step = FeedLayout::Step;

constexpr int page = 500;

std::vector<int> anyHeights(int count)
{
    std::mt19937 random(7);
    std::vector<int> heights;
    for (int i = 0; i < count; ++i)
        heights.push_back(20 + int(random() % 300));
    return heights;
}

/// A layout of rows whose heights are numbers. All are guessed as 50; measuring one is a step.
class FeedLayoutTest : public testing::Test
{
protected:
    struct Row
    {
        int height;
        bool measured = false;
    };

    void SetUp() override
    {
        layout.setTurnBudget(1h);
        layout.setPage(page);
    }

    std::optional<FeedLayout::Height> measure(int row, FeedLayout::Turn &turn)
    {
        auto &[height, measured] = rows[size_t(row)];
        if (!measured && turn.isOver())
            return {};
        turn.steps += measured ? 0 : 1;
        measured = true;
        return FeedLayout::Height{height, true};
    }

    void insert(int first, const std::vector<int> &heights)
    {
        for (const int height : std::vector(heights.rbegin(), heights.rend()))
            rows.insert(rows.begin() + first, {height});
        layout.insert(first, int(heights.size()));
    }

    bool remove(int first, int count)
    {
        rows.erase(rows.begin() + first, rows.begin() + first + count);
        return layout.remove(first, count);
    }

    void change(int row, int height)
    {
        rows[size_t(row)] = {height};
        layout.change(row, 1);
    }

    void finish()
    {
        while (layout.hasWork())
            layout.continueWork();
    }

    /// The end is 1 point of marker and the spacing below the last row; 14 more are padding.
    bool isAtEnd() const
    {
        return layout.screenBottom(int(rows.size()) - 1) + 11 == page &&
               layout.lastOffset() - layout.offset() == 14;
    }

    int press(Step step, int times = 1)
    {
        for (; times > 0; --times)
            layout.step(step);
        return layout.current();
    }

    std::vector<Row> rows;
    FeedLayout layout{[](int) { return 50; },
                      [this](int row, FeedLayout::Turn &turn) { return measure(row, turn); }};
};

TEST(FeedGeometryTest, AgreesWithSums)
{
    std::mt19937 random(1);
    FeedGeometry geometry;
    std::vector<int> heights;
    for (int round = 0; round < 300; ++round) {
        const auto at = heights.begin() + int(random() % (heights.size() + 1));
        const int row = int(at - heights.begin());
        const std::vector<int> fresh(random() % 6, int(random() % 90));
        if (round % 3 == 0) {
            geometry.insert(row, fresh);
            heights.insert(at, fresh.begin(), fresh.end());
        } else if (round % 7 == 0) {
            const auto end = at + std::min<std::ptrdiff_t>(3, heights.end() - at);
            geometry.remove(row, int(end - at));
            heights.erase(at, end);
        } else if (at != heights.end()) {
            *at = int(random() % 400);
            geometry.set(row, *at, true);
        }
        qint64 y = 14;
        for (int i = 0; i < int(heights.size()); ++i) {
            ASSERT_EQ(geometry.top(i), y) << round;
            ASSERT_EQ(geometry.rowAt(y), i) << round;
            y += heights[size_t(i)] + 10;
            ASSERT_EQ(geometry.rowAt(y - 1), i) << "up to the next one";
        }
        ASSERT_EQ(geometry.contentHeight(), y + 1 + 14);
    }
    EXPECT_EQ(geometry.rowAt(-5), 0);
    EXPECT_EQ(geometry.rowAt(1'000'000), geometry.count() - 1);
}

TEST_F(FeedLayoutTest, WhatIsInSightKeepsItsPlaceWhenGuessesBecomeExact)
{
    insert(0, anyHeights(10'000));
    layout.scrollTo(layout.lastOffset() / 2);
    // Up again and again, by less than a page: the rows that come into sight were never measured.
    for (int step = 0; step < 200; ++step) {
        const int row = layout.seenRow(false);
        const int before = layout.screenTop(row);
        layout.scrollTo(layout.offset() - 20);
        if (step % 50 == 0) // what a page above holds is used up before
            finish();
        ASSERT_EQ(layout.screenTop(row), before + 20) << step;
    }
    const int row = layout.seenRow(false);
    const int before = layout.screenTop(row);
    change(3, 4000); // far above
    insert(5, anyHeights(20));
    remove(0, 40);
    layout.settle();
    finish();
    EXPECT_EQ(layout.screenTop(row - 20), before);
    remove(row - 40, 100); // and what was in sight
    const int offset = layout.offset();
    layout.settle();
    EXPECT_EQ(layout.offset(), offset);
}

TEST_F(FeedLayoutTest, KeepsToTheEndUntilItIsHeldOrScrolled)
{
    insert(0, anyHeights(200));
    layout.settle();
    EXPECT_TRUE(isAtEnd());
    change(199, 700); // what grows at the end stays in sight
    layout.settle();
    EXPECT_TRUE(isAtEnd());

    const int offset = layout.offset();
    layout.holdPlace();
    insert(200, {120});
    layout.settle();
    EXPECT_EQ(layout.offset(), offset);
    EXPECT_EQ(layout.wayToEnd(), 130);
    layout.scrollToEnd(-30); // on the way
    EXPECT_EQ(layout.wayToEnd(), 30);
    layout.scrollToEnd();
    EXPECT_TRUE(isAtEnd());

    layout.scrollTo(100);
    remove(3, 198);
    layout.settle();
    EXPECT_EQ(layout.offset(), layout.lastOffset()) << "no further than there is something";
    insert(3, anyHeights(50));
    layout.settle();
    EXPECT_EQ(layout.offset(), layout.lastOffset()) << "nor back to where it was";
    remove(0, 53);
    layout.settle();
    EXPECT_EQ(layout.lastOffset(), 0);
}

TEST_F(FeedLayoutTest, MeasuresThePageFirstAndOneMoreOnEachSide)
{
    insert(0, std::vector(1000, 50));
    layout.setTurnBudget(0ms); // one step a turn
    layout.scrollTo(30'000);
    const auto measured = [this] { return int(std::ranges::count_if(rows, &Row::measured)); };
    for (int turns = 1; !layout.isPageMeasured(); ++turns) {
        ASSERT_EQ(measured(), turns);
        layout.continueWork();
    }
    constexpr int onAPage = page / 60;
    EXPECT_NEAR(measured(), onAPage, 2);
    finish();
    EXPECT_NEAR(measured(), 3 * onAPage, 2);
}

TEST_F(FeedLayoutTest, TellsWhatHasBecomeOfThePage)
{
    insert(0, std::vector(100, 50));
    layout.scrollTo(1000);
    finish();
    EXPECT_TRUE(layout.takeChange().repaint);
    layout.scrollTo(1120); // over rows that are measured
    const FeedLayout::Change moved = layout.takeChange();
    EXPECT_FALSE(moved.repaint);
    EXPECT_EQ(moved.way, -120);
    layout.scrollTo(3000); // over rows that were not
    EXPECT_TRUE(layout.takeChange().repaint);
    EXPECT_EQ(layout.takeChange().way, 0);
}

TEST_F(FeedLayoutTest, KeysMoveFromRowToRowAndThroughAHighOne)
{
    std::vector<int> heights(20, 50);
    heights[2] = 1200;
    insert(0, heights);
    layout.settle();
    EXPECT_EQ(press(Step::Up), 19) << "the last in sight";
    EXPECT_EQ(press(Step::Down), 19);
    layout.scrollTo(layout.offset() - 80);
    layout.setCurrent(18);
    EXPECT_EQ(press(Step::Down), 19) << "from one that reaches beyond the page";
    EXPECT_EQ(press(Step::Home), 0);
    EXPECT_EQ(layout.offset(), 0);
    EXPECT_EQ(press(Step::Down, 2), 2);
    for (int hidden = layout.screenBottom(2) - page; hidden > 0; hidden -= 40) {
        EXPECT_EQ(press(Step::Down), 2);
        EXPECT_EQ(layout.screenBottom(2) - page, std::max(0, hidden - 40));
    }
    EXPECT_EQ(press(Step::Down), 3);
    EXPECT_EQ(press(Step::Up), 2);
    const int offset = layout.offset();
    press(Step::PageDown);
    EXPECT_EQ(layout.offset(), offset + page - 40);
    EXPECT_EQ(press(Step::End), 19);
    EXPECT_FALSE(layout.isSeen(19)) << "left to whoever animates";
    EXPECT_EQ(press(Step::Down), 2) << "from what is in sight";
    EXPECT_EQ(layout.offset(), offset);
    EXPECT_EQ(press(Step::PageDown, 9), 19);
    const int last = layout.offset();
    press(Step::PageUp);
    EXPECT_EQ(layout.offset(), last - (page - 40));
}

TEST_F(FeedLayoutTest, KeysShowRowsInFullThatTurnOutHigher)
{
    insert(0, anyHeights(200));
    layout.scrollTo(400);
    press(Step::Home); // over rows that were never measured
    EXPECT_EQ(layout.offset(), 0);
    for (const Step step : {Step::Down, Step::Up}) {
        for (int i = 0; i < 100; ++i) {
            const int row = press(step);
            ASSERT_EQ(row, step == Step::Down ? i + 1 : 99 - i);
            ASSERT_GE(layout.screenTop(row), 10);
            ASSERT_LE(layout.screenBottom(row) + 10, page);
        }
    }
}

TEST_F(FeedLayoutTest, TheCurrentRowStaysTheSameOrGoesToItsNeighbour)
{
    insert(0, anyHeights(20));
    layout.setCurrent(10);
    insert(10, anyHeights(2));
    insert(13, anyHeights(2));
    EXPECT_EQ(layout.current(), 12);
    EXPECT_FALSE(remove(0, 3));
    EXPECT_EQ(layout.current(), 9);
    EXPECT_FALSE(remove(8, 1)); // just before it
    EXPECT_EQ(layout.current(), 8);
    EXPECT_TRUE(remove(8, 3));
    EXPECT_EQ(layout.current(), 7);
    EXPECT_TRUE(remove(0, 9));
    EXPECT_EQ(layout.current(), 0);
    EXPECT_TRUE(remove(0, int(rows.size())));
    EXPECT_EQ(layout.current(), -1);
    EXPECT_EQ(press(Step::Down), -1);
}

QList<Beam> named(const QString &ids)
{
    QList<Beam> beams;
    for (const QChar id : ids) {
        Beam &beam = beams.emplaceBack();
        beam.id = id.toLower();
        beam.body = id.isUpper() ? QStringLiteral("other") : QString();
    }
    return beams;
}

/// Rows are named by letters; a capital one has another text.
TEST(FeedModelTest, TellsOnlyWhatHasChanged)
{
    const std::array<QString, 3> cases[] = {
        // before, after, changes: + inserted, - removed, * changed
        {u"abc"_s, u"abc"_s, {}},
        {u""_s, u"ab"_s, u"+0-1 "_s},
        {u"abc"_s, u"abcde"_s, u"+3-4 "_s},
        {u"abc"_s, u"aBc"_s, u"*1-1 "_s},
        {u"abc"_s, u"Abcd"_s, u"+3-3 *0-0 "_s},
        {u"ac"_s, u"abc"_s, u"+1-1 "_s},
        {u"abcd"_s, u"cdef"_s, u"-0-1 +2-3 "_s}, // the window of the history moves
        {u"ab"_s, u"xyz"_s, u"-0-1 +0-2 "_s},
        {u"abc"_s, u""_s, u"-0-2 "_s},
        {u"abcde"_s, u"acDE"_s, u"-1-1 *2-3 "_s},
        {u"aab"_s, u"aabb"_s, u"+3-3 "_s}, // the same id twice
    };
    for (const auto &[before, after, expected] : cases) {
        SCOPED_TRACE(qPrintable(before + u" -> "_s + after));
        FeedModel model;
        model.update(named(before), {});
        QString changes;
        const auto log = [&](QChar sign) {
            return [&changes, sign](int first, int count) {
                changes += QStringLiteral("%1%2-%3 ").arg(sign).arg(first).arg(first + count - 1);
            };
        };
        QObject::connect(&model, &FeedModel::inserted, log(u'+'));
        QObject::connect(&model, &FeedModel::removed, log(u'-'));
        QObject::connect(&model, &FeedModel::changed, log(u'*'));
        model.update(named(after), {});
        EXPECT_EQ(changes, expected);
        QString rows;
        for (int i = 0; i < model.count(); ++i) {
            const Beam &beam = model.row(i).beam;
            rows += beam.body.isEmpty() ? beam.id : beam.id.toUpper();
        }
        EXPECT_EQ(rows, after);
    }
}

} // namespace
} // namespace kivolo
