// What goes by itself, and what an operator does to circles while their server goes on.

#include "operation/sweeper.h"
#include "support.h"

#include <boost/json/value.hpp>
#include <gtest/gtest.h>
#include <utility>

namespace kivolo::server::test {

namespace {

constexpr Seconds day = 86'400;

std::int64_t circlesIn(House &house)
{
    return static_cast<std::int64_t>(Caretaker(*house.ledger, systemRandomness).circles().size());
}

} // namespace

TEST(Sweeper, RemovesWhatNobodyUsesAndNeverWhatIsSealed)
{
    const auto opening = [](const House &house, Seconds days) {
        return boost::json::object{{"open_at", house.time.now() + days * day}};
    };
    struct Case
    {
        const char *name;
        Seconds capsuleOpensAfter; // days; 0: there is none
        Seconds daysUnseen;
        Seconds daysRunning;
        Seconds otherSeen; // days ago, when the server starts
        bool goes;
    };
    const Case cases[] = {
        {"long unused", 0, 366, 1, 0, true},
        {"used within the year", 0, 364, 1, 0, false},
        {"the server has just been started", 0, 366, 0, 0, false},
        {"the server was away itself", 0, 366, 1, 40, false},
        {"the server was away, and is back for a month", 0, 366, 30, 40, true},
        {"something is sealed", 399, 366, 1, 0, false},
        {"what was sealed has opened", 30, 366, 1, 0, true},
    };
    for (const Case &one : cases) {
        SCOPED_TRACE(one.name);
        House house;
        const Told unused = house.join(house.newCircle().text("code"), "unused");
        house.sendText(unused, "note");
        if (one.capsuleOpensAfter > 0)
            house.sendText(unused, "capsule", opening(house, one.capsuleOpensAfter));
        house.time.advance((one.daysUnseen - one.otherSeen) * day);
        house.join(house.newCircle().text("code"), "other");
        house.time.advance(one.otherSeen * day);
        Sweeper sweeper(*house.ledger, house.time.clock(), house.time.clock(),
                        {.keep = 0, .abandoned = 365 * day});
        EXPECT_EQ(sweeper.sweep(std::chrono::seconds(one.daysRunning * day)), one.goes);
        EXPECT_EQ(circlesIn(house), one.goes ? 1 : 2);
        EXPECT_EQ(house.call("GET", "/me?device_id=unused").body.at("joined").as_bool(), !one.goes);
    }
}

TEST(Caretaker, GoesThroughAsManyCirclesAsItIsToldTo)
{
    constexpr int all = 450; // more than are read at once
    House house;
    for (int i = 0; i < all; ++i)
        house.newCircle();
    for (const int wanted : {1, 200, 201, all}) {
        std::int64_t last = 0;
        int taken = 0;
        Caretaker(*house.ledger, systemRandomness).eachCircle([&](const CircleSummary &circle) {
            EXPECT_GT(circle.number, std::exchange(last, circle.number));
            return ++taken < wanted;
        });
        EXPECT_EQ(taken, wanted);
    }
    EXPECT_EQ(circlesIn(house), all);
}

} // namespace kivolo::server::test
