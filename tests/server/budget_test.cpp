// How memory is shared out.

#include "http/budget.h"

#include <deque>
#include <gtest/gtest.h>

namespace kivolo::server::test {

using http::Address;
using http::Budget;

namespace {

constexpr std::size_t all = 12'000;

/// What somebody gets who takes as much as he can, a hundred at a time.
std::size_t greed(Budget &budget, const std::string &address, std::deque<Budget::Share> &shares)
{
    std::size_t taken = 0;
    while (auto share = budget.take(Address::parse(address).value(), 100)) {
        taken += share->bytes();
        shares.push_back(std::move(*share));
    }
    return taken;
}

} // namespace

TEST(Budget, LeavesEveryGreedyGuestRoomForTheNext)
{
    const struct
    {
        const char *guests;
        std::vector<std::string> addresses;
        std::vector<std::size_t> taken;
    } cases[] = {
        {"one", {"192.0.2.1"}, {6'000}},
        {"one, twice", {"192.0.2.1", "::ffff:192.0.2.1"}, {6'000, 0}},
        {"of different nets", {"192.0.2.1", "198.51.100.1", "203.0.113.1"}, {6'000, 3'000, 1'500}},
        {"one /64", {"2001:db8::1", "2001:db8::2"}, {6'000, 0}},
        {"one /48", {"2001:db8::1", "2001:db8:0:1::1", "2001:db8:0:2::1"}, {6'000, 2'000, 0}},
        {"one /24", {"192.0.2.1", "192.0.2.2", "192.0.2.3"}, {6'000, 2'000, 0}},
    };
    for (const auto &[guests, addresses, taken] : cases) {
        Budget budget(all);
        {
            std::deque<Budget::Share> shares;
            for (std::size_t i = 0; i < addresses.size(); ++i)
                EXPECT_EQ(greed(budget, addresses[i], shares), taken[i]) << guests << ' ' << i;
        }
        EXPECT_EQ(budget.left(), all) << guests;
        std::deque<Budget::Share> shares;
        EXPECT_EQ(greed(budget, addresses.back(), shares), 6'000u) << guests << ", afterwards";
    }
}

TEST(Budget, CountsWhatAShareGrowsAndShrinksTo)
{
    std::optional<Budget::Share> share;
    {
        Budget budget(all);
        const Address guest = Address::parse("192.0.2.1").value();
        share = budget.take(guest, 100);
        EXPECT_TRUE(share->grow(5'900));
        EXPECT_FALSE(share->grow(1)) << "it is half of all";
        EXPECT_EQ(budget.left(), 6'000u);
        share->shrinkTo(1'000);
        EXPECT_EQ(budget.left(), 11'000u);
        EXPECT_TRUE(share->grow(5'000));
        Budget::Share moved = std::move(*share);
        EXPECT_EQ(share->bytes(), 0u);
        *share = std::move(moved);
        EXPECT_EQ(budget.left(), 6'000u);
    }
    share.reset(); // after its budget
}

} // namespace kivolo::server::test
