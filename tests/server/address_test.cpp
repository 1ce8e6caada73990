// Who a request is said to come from, and how addresses share what there is.

#include "http/budget.h"
#include "http/crowd.h"
#include "http/proxies.h"

#include <deque>
#include <gtest/gtest.h>

namespace kivolo::server::test {

using http::Address;
using http::Budget;
using http::Crowd;
using http::Proxies;

namespace {

std::string written(const std::optional<Address> &address)
{
    return address ? address->toString() : "none";
}

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

TEST(Address, IsTheSameHoweverItIsWritten)
{
    const std::string v6 = "2001:db8:1:2:3:4:5:6";
    const struct
    {
        std::string text, address, network, wide;
    } cases[] = {
        {"192.0.2.77", "192.0.2.77", "192.0.2.77", "192.0.2.0"},
        {"192.0.2.77:443", "192.0.2.77", "192.0.2.77", "192.0.2.0"},
        {"::ffff:192.0.2.77", "192.0.2.77", "192.0.2.77", "192.0.2.0"},
        {"[::ffff:192.0.2.77]:443", "192.0.2.77", "192.0.2.77", "192.0.2.0"},
        {v6, v6, "2001:db8:1:2::", "2001:db8:1::"},
    };
    for (const auto &[text, address, network, wide] : cases) {
        const std::optional<Address> parsed = Address::parse(text);
        ASSERT_TRUE(parsed) << text;
        EXPECT_EQ(parsed->toString(), address) << text;
        EXPECT_EQ(parsed->network().toString(), network) << text;
        EXPECT_EQ(parsed->wide().toString(), wide) << text;
        EXPECT_EQ(parsed, Address::parse(address)) << text;
    }
    for (const char *text : {"", "unknown", "192.0.2", "192.0.2.256", "::", "0.0.0.0", "[::1",
                             "[::1]x", "192.0.2.1/32", "2001:db8::1::2", " 192.0.2.1"})
        EXPECT_EQ(written(Address::parse(text)), "none") << text;
}

TEST(Proxies, AreBelievedAsFarAsTheyAreTrusted)
{
    Proxies proxies;
    for (const char *net : {"10.0.0.0/8", "172.16.0.1", "2001:db8::/47", "unix"})
        proxies.trust(net);
    const Address local;
    const std::string unix = local.toString();
    const struct
    {
        std::string peer, forwardedFor, client;
    } cases[] = {
        {"198.51.100.1", "192.0.2.1", "198.51.100.1"}, // anybody can say that
        {"10.9.9.9", "192.0.2.1", "192.0.2.1"},
        {"172.16.0.2", "192.0.2.1", "172.16.0.2"},
        {"2001:db8:1::5", "192.0.2.1", "192.0.2.1"},
        {"2001:db8:2::5", "192.0.2.1", "2001:db8:2::5"},
        {unix, "192.0.2.1", "192.0.2.1"},
        {"10.9.9.9", "192.0.2.1,\t192.0.2.2 , 10.1.1.1,172.16.0.1", "192.0.2.2"},
        {"10.9.9.9", "10.1.1.1", "10.1.1.1"},
        {"10.9.9.9", "192.0.2.1, nonsense, 10.1.1.1", "10.1.1.1"},
        {"10.9.9.9", "192.0.2.1,", "10.9.9.9"},
        {unix, "::", unix},
    };
    for (const auto &[peer, forwardedFor, client] : cases) {
        const Address from = peer == unix ? local : Address::parse(peer).value();
        EXPECT_EQ(proxies.client(from, forwardedFor).toString(), client)
            << peer << " says " << forwardedFor;
    }
    for (const char *net : {"", "10.0.0.0/33", "10.0.0.0/", "10.0.0.0/8x", "10.0.0.0/-1", "host",
                            "2001:db8::/129", "0.0.0.0/0", "::/0"})
        EXPECT_THROW(Proxies().trust(net), std::runtime_error) << net;
}

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

TEST(Crowd, KnowsWhereItIsFullest)
{
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"192.0.2.1"}, "192.0.2.1"},
        {{"192.0.2.1", "198.51.100.1", "198.51.100.1"}, "198.51.100.1"},
        // A net of many addresses comes before one address with fewer.
        {{"198.51.100.1", "198.51.100.1", "192.0.2.1", "192.0.2.2", "192.0.2.2"}, "192.0.2.2"},
        {{"198.51.100.1", "198.51.100.1", "2001:db8::1", "2001:db8::2", "2001:db8:0:1::1"},
         "2001:db8::"},
    };
    for (const auto &[addresses, fullest] : cases) {
        Crowd crowd;
        int sessions[5] = {};
        const auto session = [&](std::size_t i) {
            return reinterpret_cast<http::Session *>(&sessions[i]); // is never looked into
        };
        for (std::size_t i = 0; i < addresses.size(); ++i)
            crowd.add(Address::parse(addresses[i]).value(), session(i));
        EXPECT_EQ(crowd.fullest().toString(), fullest);
        for (std::size_t i = 0; i < addresses.size(); ++i) {
            for (int twice = 0; twice < 2; ++twice)
                crowd.remove(Address::parse(addresses[i]).value(), session(i));
        }
        EXPECT_TRUE(crowd.empty());
    }
}

} // namespace kivolo::server::test
