#include "feed/feed_layout.h"

#include <gtest/gtest.h>
#include <random>

namespace kivolo {
namespace {

using namespace std::chrono_literals;
using Step = FeedLayout::Step;

constexpr int page = 500;

/// A layout of rows whose heights are numbers: guessed as 50, and measured in some steps.
class FeedLayoutTest : public testing::Test
{
protected:
    struct Row
    {
        int height;
        int steps = 1;
        int done = 0;
    };

    void SetUp() override
    {
        layout.setTurnBudget(1h);
        layout.setPage(page);
    }

    std::optional<FeedLayout::Height> measure(int row, FeedLayout::Turn &turn)
    {
        Row &asked = rows[size_t(row)];
        if (asked.done < asked.steps && !turn.isOver()) {
            ++asked.done;
            ++turn.steps;
        }
        if (asked.done == 0)
            return {};
        return FeedLayout::Height{asked.height * asked.done / asked.steps,
                                  asked.done == asked.steps};
    }

    void insert(int first, const std::vector<Row> &fresh)
    {
        rows.insert(rows.begin() + first, fresh.begin(), fresh.end());
        layout.insert(first, int(fresh.size()));
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

    /// Turns until nothing is left to do.
    int finish()
    {
        int turns = 0;
        for (; layout.hasWork(); ++turns)
            layout.continueWork();
        return turns;
    }

    static std::vector<Row> anyRows(int count)
    {
        std::mt19937 random(7);
        std::vector<Row> result;
        for (int i = 0; i < count; ++i)
            result.push_back({20 + int(random() % 300)});
        return result;
    }

    /// The end is 1 point of marker and the spacing below the last row; 14 more are padding.
    bool isAtEnd() const
    {
        return layout.screenBottom(int(rows.size()) - 1) + 11 == page &&
               layout.lastOffset() - layout.offset() == 14;
    }

    std::vector<Row> rows;
    FeedLayout layout{[](int) { return 50; },
                      [this](int row, FeedLayout::Turn &turn) { return measure(row, turn); }};
};

TEST(FeedGeometryTest, AgreesWithSums)
{
    std::mt19937 random(1);
    const auto any = [&](size_t end) { return int(random() % std::max<size_t>(end, 1)); };
    FeedGeometry geometry;
    std::vector<int> heights;
    for (int round = 0; round < 300; ++round) {
        const int at = any(heights.size());
        if (round % 3 == 0) {
            const std::vector<int> fresh(size_t(1 + any(6)), 1 + any(90));
            heights.insert(heights.begin() + at, fresh.begin(), fresh.end());
            geometry.insert(at, fresh);
        } else if (round % 7 == 0) {
            const int count = std::min(3, int(heights.size()) - at);
            heights.erase(heights.begin() + at, heights.begin() + at + count);
            geometry.remove(at, count);
        } else if (!heights.empty()) {
            heights[size_t(at)] = any(400);
            geometry.set(at, heights[size_t(at)], true);
        }
        qint64 y = 14;
        for (int row = 0; row < int(heights.size()); ++row) {
            ASSERT_EQ(geometry.top(row), y) << round;
            ASSERT_EQ(geometry.rowAt(y), row) << round;
            y += heights[size_t(row)] + 10;
            ASSERT_EQ(geometry.rowAt(y - 1), row) << "up to the next one";
        }
        ASSERT_EQ(geometry.contentHeight(), y + 1 + 14);
    }
    EXPECT_EQ(geometry.rowAt(-5), 0);
    EXPECT_EQ(geometry.rowAt(1'000'000), geometry.count() - 1);
}

TEST_F(FeedLayoutTest, WhatIsInSightKeepsItsPlaceWhenGuessesBecomeExact)
{
    insert(0, anyRows(10'000));
    layout.scrollTo(layout.lastOffset() / 2);
    finish();
    // Up again and again, by less than a page: the rows that come into sight were never measured.
    for (int step = 0; step < 100; ++step) {
        const int row = layout.seenRow(false);
        const int before = layout.screenTop(row);
        layout.scrollTo(layout.offset() - 20);
        ASSERT_EQ(layout.screenTop(row), before + 20) << step;
        if (step % 7 == 0) {
            finish();
            ASSERT_EQ(layout.screenTop(row), before + 20) << step;
        }
    }
    const int row = layout.seenRow(false);
    const int before = layout.screenTop(row);
    change(3, 4000); // far above
    layout.settle();
    EXPECT_EQ(layout.screenTop(row), before);
    insert(5, anyRows(20));
    layout.settle();
    EXPECT_EQ(layout.screenTop(row + 20), before);
    remove(0, 40);
    layout.settle();
    EXPECT_EQ(layout.screenTop(row - 20), before);

    remove(row - 30, 100); // and what was in sight
    const int offset = layout.offset();
    layout.settle();
    EXPECT_EQ(layout.offset(), offset);
}

TEST_F(FeedLayoutTest, KeepsToTheEndUntilItIsHeldOrScrolled)
{
    insert(0, anyRows(200));
    layout.settle();
    EXPECT_TRUE(isAtEnd());
    change(199, 700); // what grows at the end stays in sight
    layout.settle();
    EXPECT_TRUE(isAtEnd());

    const int offset = layout.offset();
    layout.holdPlace();
    insert(200, {{120}});
    layout.settle();
    EXPECT_EQ(layout.offset(), offset);
    EXPECT_EQ(layout.wayToEnd(), 130);
    layout.scrollToEnd(-30); // on the way
    EXPECT_EQ(layout.wayToEnd(), 30);
    layout.scrollToEnd();
    EXPECT_TRUE(isAtEnd());

    layout.scrollTo(1'000'000'000);
    EXPECT_EQ(layout.offset(), layout.lastOffset());
    layout.scrollTo(100);
    change(200, 50);
    layout.settle();
    EXPECT_EQ(layout.offset(), 100);
    remove(3, 198);
    layout.settle();
    EXPECT_EQ(layout.offset(), layout.lastOffset()) << "no further than there is something";
    insert(3, anyRows(50));
    layout.settle();
    EXPECT_EQ(layout.offset(), layout.lastOffset()) << "nor back to where it was";
    remove(0, 53);
    layout.settle();
    EXPECT_EQ(layout.lastOffset(), 0);
}

TEST_F(FeedLayoutTest, MeasuresThePageFirstAndOneMoreOnEachSide)
{
    insert(0, std::vector<Row>(1000, Row{50, 3}));
    layout.setTurnBudget(0ms); // one step a turn
    layout.scrollTo(30'000);
    EXPECT_FALSE(layout.isPageMeasured());
    const auto measured = [this] {
        return std::ranges::count_if(rows, [](const Row &row) { return row.done == row.steps; });
    };
    int turns = 0;
    for (; !layout.isPageMeasured(); ++turns)
        layout.continueWork();
    const auto inPage = measured();
    EXPECT_GE(inPage, page / 60);
    EXPECT_LE(inPage, page / 60 + 2);
    EXPECT_GE(turns, 3 * inPage - 2);
    EXPECT_GT(finish(), 2 * 3 * (page / 60) - 4);
    EXPECT_NEAR(double(measured()), 3 * page / 60., 3);
    EXPECT_EQ(finish(), 0);
}

TEST_F(FeedLayoutTest, TellsWhatHasBecomeOfThePage)
{
    insert(0, std::vector<Row>(100, Row{50}));
    layout.scrollTo(1000);
    finish();
    EXPECT_TRUE(layout.takeChange().repaint);
    layout.scrollTo(980); // over rows that are measured
    EXPECT_EQ(layout.takeChange().way, 20);
    layout.scrollTo(1100);
    const FeedLayout::Change moved = layout.takeChange();
    EXPECT_FALSE(moved.repaint);
    EXPECT_EQ(moved.way, -120);
    change(2, 90); // out of sight
    layout.settle();
    EXPECT_EQ(layout.takeChange().way, 0);
    for (const int offset : {3000, 3010}) { // over rows that were not, and are then
        layout.scrollTo(offset);
        EXPECT_EQ(layout.takeChange().repaint, offset == 3000);
    }
}

TEST_F(FeedLayoutTest, KeysMoveFromRowToRowAndThroughAHighOne)
{
    std::vector<Row> column(20, Row{50});
    column[2].height = 1200;
    insert(0, column);
    layout.settle();
    const auto press = [&](Step step, int times = 1) {
        for (; times > 0; --times)
            layout.step(step);
        return layout.current();
    };
    const auto inFull = [&] {
        const int row = layout.current();
        return layout.screenTop(row) >= 0 && layout.screenBottom(row) <= page;
    };
    EXPECT_EQ(press(Step::Up), 19) << "the last in sight";
    EXPECT_EQ(press(Step::Down), 19);
    EXPECT_EQ(press(Step::Up, 12), 7);
    EXPECT_TRUE(inFull());
    EXPECT_EQ(press(Step::Home), 0);
    EXPECT_EQ(layout.offset(), 0);
    EXPECT_EQ(press(Step::Down, 2), 2);
    for (int hidden = layout.screenBottom(2) - page; hidden > 0; hidden -= 40) {
        EXPECT_EQ(press(Step::Down), 2);
        EXPECT_EQ(layout.screenBottom(2) - page, std::max(0, hidden - 40));
    }
    EXPECT_EQ(press(Step::Down), 3);
    EXPECT_TRUE(inFull());
    EXPECT_EQ(press(Step::Up), 2);
    const int offset = layout.offset();
    for (const auto &[step, pages] :
         {std::pair(Step::PageDown, 1), std::pair(Step::PageUp, 0), std::pair(Step::PageDown, 1)}) {
        press(step);
        EXPECT_EQ(layout.offset(), offset + pages * (page - 40));
    }
    EXPECT_EQ(press(Step::End), 19);
    EXPECT_FALSE(layout.isSeen(19)) << "left to whoever animates";
    EXPECT_EQ(press(Step::Down), 2) << "from what is in sight";
    EXPECT_EQ(press(Step::PageDown, 9), 19);
    EXPECT_TRUE(inFull());
}

TEST_F(FeedLayoutTest, KeysShowRowsInFullThatTurnOutHigher)
{
    insert(0, anyRows(200));
    layout.settle();
    layout.step(Step::Home); // nothing above was ever measured
    EXPECT_EQ(layout.offset(), 0);
    for (const Step step : {Step::Down, Step::Up}) {
        for (int i = 0; i < 100; ++i) {
            layout.step(step);
            ASSERT_EQ(layout.current(), step == Step::Down ? i + 1 : 99 - i);
            ASSERT_GE(layout.screenTop(layout.current()), 10);
            ASSERT_LE(layout.screenBottom(layout.current()) + 10, page);
        }
    }
    layout.scrollTo(400);
    for (int row = 0; row < 5; ++row)
        change(row, 300);
    layout.step(Step::Home);
    EXPECT_EQ(layout.offset(), 0);
}

TEST_F(FeedLayoutTest, TheCurrentRowStaysTheSameOrGoesToItsNeighbour)
{
    insert(0, anyRows(20));
    layout.setCurrent(10);
    insert(10, anyRows(2));
    EXPECT_EQ(layout.current(), 12);
    insert(13, anyRows(2));
    EXPECT_EQ(layout.current(), 12);
    EXPECT_FALSE(remove(0, 3));
    EXPECT_EQ(layout.current(), 9);
    EXPECT_TRUE(remove(8, 4));
    EXPECT_EQ(layout.current(), 7);
    EXPECT_TRUE(remove(0, 9));
    EXPECT_EQ(layout.current(), 0);
    EXPECT_TRUE(remove(0, int(rows.size())));
    EXPECT_EQ(layout.current(), -1);
    EXPECT_EQ(layout.seenRow(true), -1);
    layout.step(Step::Down);
    EXPECT_EQ(layout.current(), -1);
}

} // namespace
} // namespace kivolo
