#include "routes/holds.h"

#include <gtest/gtest.h>
#include <map>

namespace kivolo::server::test {

namespace {

/// Of a circle whose number is the member's without its last digit.
Seat seatOf(std::int64_t member, Tick tick)
{
    Seat seat;
    seat.circle.number = member / 10;
    seat.circle.tick = tick;
    seat.member.number = member;
    return seat;
}

} // namespace

// Who is released by what, and who is not.
TEST(Holds, ReleaseWhomAChangeConcerns)
{
    std::chrono::steady_clock::time_point now{};
    Holds holds(std::chrono::seconds(25), [&] { return now; });
    std::map<std::int64_t, http::Held> waiting;
    std::vector<std::int64_t> released;
    const auto hold = [&](std::int64_t member) {
        std::optional<http::Held> held = holds.hold(seatOf(member, 5));
        if (!held)
            return false;
        held->place->onRelease = [&released, member] { released.push_back(member); };
        waiting.insert_or_assign(member, std::move(*held));
        return true;
    };
    const auto takeReleased = [&] {
        std::sort(released.begin(), released.end());
        for (const std::int64_t member : released)
            waiting.erase(member);
        return std::exchange(released, {});
    };
    using Members = std::vector<std::int64_t>;
    for (const std::int64_t member : {11, 12, 13, 21, 22})
        EXPECT_TRUE(hold(member));
    EXPECT_EQ(waiting.at(11).atMost, std::chrono::seconds(25));
    holds.announce({1, 12, 6});
    EXPECT_EQ(takeReleased(), (Members{11, 13})) << "its sender need not be told";
    holds.announce({1, 11, 7});
    EXPECT_EQ(takeReleased(), (Members{12})) << "who waits no longer is forgotten";
    EXPECT_TRUE(hold(11));
    holds.announce({1, 12, 5});
    EXPECT_EQ(takeReleased(), Members{}) << "who has been told of a beam waits for the next";
    EXPECT_TRUE(hold(11));
    EXPECT_EQ(takeReleased(), (Members{11})) << "the older poll of the same seat";

    EXPECT_TRUE(hold(12));
    holds.announce({1, 0});
    EXPECT_EQ(takeReleased(), (Members{12})) << "a change of members";
    now += std::chrono::seconds(10);
    holds.announce({1, 0});
    EXPECT_FALSE(hold(11));
    EXPECT_TRUE(hold(23)) << "other circles are not concerned";
    now += std::chrono::seconds(14);
    EXPECT_FALSE(hold(11)) << "the second change counts as well";
    now += std::chrono::seconds(1);
    EXPECT_TRUE(hold(11));
    holds.announce({});
    EXPECT_EQ(takeReleased(), (Members{11, 21, 22, 23})) << "whatever has happened";
    EXPECT_FALSE(holds.occupied());
}

// Between the look that finds nothing and the place that is taken after it.
TEST(Holds, KnowWhatWasAnnouncedBeforeSomebodyWaits)
{
    std::chrono::steady_clock::time_point now{};
    Holds holds(std::chrono::seconds(25), [&] { return now; });
    holds.announce({1, 11, 6});
    holds.announce({1, 12, 7});
    holds.announce({1, 12, 8});
    now += std::chrono::seconds(9);
    holds.announce({2, 21, 5});
    EXPECT_TRUE(holds.mayHaveMissed(seatOf(11, 7), now));
    EXPECT_FALSE(holds.mayHaveMissed(seatOf(11, 8), now)) << "it was seen";
    EXPECT_TRUE(holds.mayHaveMissed(seatOf(12, 5), now))
        << "one of somebody else is between his own";
    EXPECT_FALSE(holds.mayHaveMissed(seatOf(12, 6), now)) << "his own";
    EXPECT_FALSE(holds.mayHaveMissed(seatOf(31, 5), now));
    now += std::chrono::seconds(9);
    EXPECT_TRUE(holds.mayHaveMissed(seatOf(22, 4), now - std::chrono::seconds(9)));
    EXPECT_TRUE(holds.mayHaveMissed(seatOf(31, 5), now - std::chrono::seconds(10)))
        << "nobody knows any more";
}

} // namespace kivolo::server::test
