// Who is kept waiting, and who is not.

#include "rules/identifiers.h"
#include "support.h"

#include <cmath>
#include <deque>
#include <gtest/gtest.h>

namespace kivolo::server::test {

namespace json = boost::json;

namespace {

using Act = Throttle::Act;
using http::Address;

Address address(const std::string &text)
{
    return Address::parse(text).value();
}

Address nthAddress(int n)
{
    return address("10." + std::to_string(n >> 16) + '.' + std::to_string(n >> 8 & 255) + '.' +
                   std::to_string(n & 255));
}

struct Gate
{
    bool lets(Act act, const Address &from)
    {
        try {
            throttle.take(act, from);
            return true;
        } catch (const Refusal &refusal) {
            EXPECT_EQ(refusal.reason(), Refusal::Reason::TooMany);
            EXPECT_GT(refusal.retryAfter().count(), 0);
            retryAfter = refusal.retryAfter();
            return false;
        }
    }
    int howOften(Act act, const Address &from)
    {
        int count = 0;
        while (count < 100'000 && lets(act, from))
            ++count;
        return count;
    }

    ManualClock time;
    Throttle throttle{Throttle::allowances(), time.steadyClock()};
    std::chrono::seconds retryAfter{0};
};

json::object joining(const std::string &code, const std::string &device = "z")
{
    return {{"code", code}, {"handle", "Z"}, {"device_id", device}};
}

} // namespace

TEST(Throttle, GivesEveryAddressItsOwnTriesWhateverOthersDo)
{
    struct Case
    {
        const char *name;
        std::string address;
        int tries;
    };
    const Case cases[] = {
        {"the first takes the pot too", "127.0.0.1", 5 + 60},
        {"its neighbour", "127.0.0.2", 5},
        {"the same, as it is written in IPv6", "::ffff:127.0.0.2", 0},
        {"an IPv6 /64", "2001:db8::1", 5},
        {"the same /64", "2001:db8::2:3:4:5", 0},
        {"another of that /48", "2001:db8:0:1::1", 5},
        {"of another /48", "2001:db8:1::1", 5},
    };
    Gate gate;
    for (const Case &c : cases)
        EXPECT_EQ(gate.howOften(Act::WrongCode, address(c.address)), c.tries) << c.name;
    EXPECT_EQ(gate.howOften(Act::WrongCode, Address()), 0) << "a Unix socket has the pot alone";
    for (const auto &[net, tries] : {std::pair("2001:db8:2:", 40), std::pair("2001:db9:", 320)}) {
        int together = 0;
        for (int i = 0; i < 200; ++i)
            together += gate.howOften(Act::WrongCode, address(net + std::to_string(i) + "::1"));
        EXPECT_EQ(together, tries) << net;
    }
    gate.time.advance(1);
    EXPECT_EQ(gate.howOften(Act::WrongCode, Address()), 1);
    EXPECT_EQ(gate.retryAfter, std::chrono::seconds(1));
    gate.time.advance(86'400 - 1);
    EXPECT_EQ(gate.howOften(Act::WrongCode, address("127.0.0.2")), 5 + 60);
    EXPECT_TRUE(gate.lets(Act::Request, address("127.0.0.2"))) << "counted by itself";
}

TEST(Throttle, RemembersNoMoreThanItCanAndForgetsNobodyForThat)
{
    constexpr int crowd = 100'000;
    Gate gate;
    gate.howOften(Act::WrongCode, Address()); // the pot
    const Address guesser = nthAddress(0);
    gate.howOften(Act::WrongCode, guesser);
    int let = 0;
    for (int i = 1; i < crowd; ++i)
        let += gate.lets(Act::WrongCode, nthAddress(i));
    EXPECT_LT(let, static_cast<int>(Throttle::remembered));
    EXPECT_GT(let, static_cast<int>(Throttle::remembered) - 10);
    EXPECT_FALSE(gate.lets(Act::WrongCode, guesser)) << "he was forgotten";
    EXPECT_TRUE(gate.lets(Act::WrongCode, nthAddress(1))) << "has tries left";
    gate.time.advance(5 * 3'600); // those with a single one are as good as new
    gate.howOften(Act::WrongCode, Address());
    EXPECT_TRUE(gate.lets(Act::WrongCode, nthAddress(crowd)));
    EXPECT_EQ(gate.howOften(Act::WrongCode, guesser), 1);
}

// The first hit on one of so many circles, by all addresses that can be remembered together.
TEST(InviteCodes, AreLongEnoughForACentury)
{
    const Throttle::Allowance allowance =
        Throttle::allowances()[static_cast<std::size_t>(Act::WrongCode)];
    const auto perYear = [](const Throttle::Rate &rate) {
        return static_cast<double>(rate.count) * 365.25 * 86'400 /
               std::chrono::duration<double>(rate.within).count();
    };
    const double guesses =
        perYear(allowance.shared) + perYear(allowance.own) * double{Throttle::remembered};
    EXPECT_EQ(inviteCodeLength(1), 8u);
    double chance = 0; // of one guess
    std::int64_t made = 0;
    for (std::int64_t circles = 1; circles < INT64_MAX / 4; circles *= 2) {
        while (made < circles) { // all those of one length at once
            const std::size_t length = inviteCodeLength(made + 1);
            const std::int64_t more = inviteCodeLength(circles) == length ? circles - made : 1;
            chance += static_cast<double>(more) * std::pow(32, -static_cast<double>(length));
            made += more;
        }
        EXPECT_GT(1 / (chance * guesses), 100) << circles << " circles";
    }
}

TEST(Guesses, OnlyWrongOnesCountAndNoneOfThemWrites)
{
    std::atomic<int> writes = 0;
    House house(
        {}, [&writes] { ++writes; }, {}, 1);
    const std::string code = house.newCircle().text("code");
    house.client = address("192.0.2.1");
    const Told ana = house.join(code, "a");
    const int before = writes;
    int looked = 0;
    while (looked < 1'000 && house.post("/join", joining("AAAAAAAA")).status == 404)
        ++looked;
    EXPECT_EQ(looked, 5 + 60);
    EXPECT_EQ(writes, before) << "a wrong code was the writer's work";
    const Told refused = house.post("/join", joining("AAAAAAAA"));
    EXPECT_EQ(refused.status, 429u);
    EXPECT_EQ(refused.text("error"), "Too many wrong codes were tried. Please try again later.");
    EXPECT_EQ(refused.retryAfter, std::chrono::seconds(1));
    EXPECT_EQ(house.post("/join", joining(code, "a")).status, 429u) << "not looked at";
    EXPECT_EQ(house.poll(ana, 0).status, 200u);

    // From elsewhere, while the pot is empty: an office that joins, comes again, and finds a full
    // circle, with a wrong code now and then.
    house.client = address("192.0.2.2");
    for (int i = 0; i < 40; ++i) {
        const std::string device = "office" + std::to_string(i % 10);
        EXPECT_EQ(house.post("/join", joining(code, device)).status, i % 10 < 4 ? 200u : 409u);
        if (i % 10 == 0) {
            EXPECT_EQ(house.post("/join", joining("TYPO")).status, 404u);
        }
    }
    EXPECT_EQ(house.post("/join", joining("TYPO")).status, 404u) << "the fifth";
    EXPECT_EQ(house.post("/join", joining("TYPO")).status, 429u);
}

// Nothing is gained by asking for many at a time. Nor would who knows one code gain a guess at
// others from each lookup that takes its time.
TEST(Guesses, CountWhileTheyAreLookedUpAndGiveBackNothingTwice)
{
    Gate gate;
    const Address guest = address("192.0.2.1");
    std::deque<Guess> right;
    for (int i = 0; i < 5 + 60; ++i)
        right.emplace_back(gate.throttle, Act::WrongCode, guest);
    EXPECT_FALSE(gate.lets(Act::WrongCode, guest));
    gate.time.advance(60); // the pot is full again
    EXPECT_EQ(gate.howOften(Act::WrongCode, guest), 60);
    while (right.size() > 5) // those of the pot
        right.pop_back();
    EXPECT_EQ(gate.howOften(Act::WrongCode, guest), 0);
    right.clear();
    EXPECT_EQ(gate.howOften(Act::WrongCode, guest), 4)
        << "he has what he took himself, but for a minute each";
}

TEST(Guesses, OfKeysKeepNobodyFromComingBack)
{
    House house({}, {}, {}, 1);
    house.client = address("192.0.2.1");
    const std::string code = house.newCircle().text("code");
    const Told ana = house.join(code, "a");
    const Told ben = house.join(code, "b");
    const std::string id = ana.text("member_id");
    const std::string right = ana.text("circle_id");
    const std::string asks[] = {
        "/beams?since=0&circle_id=x&member_id=" + id,
        "/beams?since=1&circle_id=x&member_id=" + id,
        "/beams?since=1&member_id=x&circle_id=" + right,
        "/history?limit=1&circle_id=x",
        "/capsule?id=x&circle_id=" + right,
        "", // sends
    };
    Told stranger = ana;
    stranger.body.as_object()["circle_id"] = "x";
    const auto refused = [&](const std::string &ask) {
        const unsigned status =
            (ask.empty() ? house.sendText(stranger, "x") : house.call("GET", ask)).status;
        EXPECT_TRUE(status == 403 || status == 404 || status == 429) << status;
        return status == 429;
    };
    // A program that asks every other second with a dead key, and one member who does not.
    for (int second = 0; second < 600; second += 2) {
        EXPECT_FALSE(refused(asks[0]));
        EXPECT_EQ(house.poll(ben, 0).status, 200u);
        house.steadyTime.advance(2);
    }
    int tries = 0;
    house.steadyTime.advance(60);
    while (tries < 10'000 && !refused(asks[tries % 6]))
        ++tries;
    EXPECT_EQ(tries, 300 + 3'000);
    for (const std::string &ask : asks)
        EXPECT_TRUE(refused(ask));
    EXPECT_EQ(house.sendText(ana, "x").status, 429u) << "not looked at";
    EXPECT_EQ(house.call("GET", "/me?device_id=a").status, 200u);
    EXPECT_EQ(house.post("/join", joining(code, "a")).status, 200u);
    house.client = address("192.0.2.2");
    EXPECT_FALSE(refused(asks[0]));
}

TEST(Throttle, CountsWhateverIsAsked)
{
    struct Case
    {
        const char *what;
        std::function<Told(House &, const Told &member)> ask;
        unsigned status;
        int own, shared; // with a tenth of the usual
    };
    const Case cases[] = {
        {"polls", [](House &h, const Told &m) { return h.poll(m, 1); }, 200, 100, 2'000},
        {"sends", [](House &h, const Told &m) { return h.sendText(m, ""); }, 400, 60, 600},
        {"circles", [](House &h, const Told &) { return h.newCircle(); }, 200, 1, 10},
        {"devices", [](House &h, const Told &) { return h.call("GET", "/me?device_id=?"); }, 200,
         30, 300},
    };
    for (const Case &c : cases) {
        House house({}, {}, {}, 0.1);
        house.client = address("192.0.2.9");
        const Told ana = house.join(house.newCircle().text("code"), "a");
        const auto lets = [&](const char *from) {
            house.client = address(from);
            int count = 0;
            Told told;
            while (count < 10'000 && (told = c.ask(house, ana)).status == c.status)
                ++count;
            EXPECT_EQ(told.status, 429u) << c.what;
            EXPECT_GT(told.retryAfter.count(), 0) << c.what;
            return count;
        };
        EXPECT_EQ(lets("192.0.2.1"), c.own + c.shared) << c.what;
        EXPECT_EQ(lets("192.0.2.2"), c.own) << c.what;
    }
}

} // namespace kivolo::server::test
