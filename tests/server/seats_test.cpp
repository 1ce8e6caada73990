// Who has a seat, who can take whose, and how much room there is for what is sent.

#include "records/wire.h"
#include "support.h"

#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>
#include <latch>
#include <map>

namespace kivolo::server::test {

namespace json = boost::json;

namespace {

constexpr Seconds day = 86'400;

/// One of the ways of being seen.
Told lookIn(House &house, const Told &seat, std::size_t way)
{
    const std::string key = "circle_id=" + seat.text("circle_id");
    switch (way) {
    case 0:
        return house.poll(seat, 1);
    case 1:
        return house.call("GET", "/history?limit=1&" + key);
    case 2:
        return house.sendText(seat, "x");
    default:
        return house.call("GET", "/me?device_id=a");
    }
}

} // namespace

TEST(Seats, AreTakenOverFromWhoWasUnseenForLongestHoweverHeIsSeen)
{
    for (std::size_t way = 0; way < 6; ++way) {
        SCOPED_TRACE(way);
        House house(Circles::Settings{.maxSeats = 3});
        const std::string code = house.newCircle().text("code");
        const std::string full = house.newCircle().text("code");
        std::map<std::string, Told> seats; // what each device was told last
        const auto join = [&](const std::string &where, const std::string &device) {
            const Told told =
                house.post("/join", {{"code", where}, {"handle", device}, {"device_id", device}});
            if (told.status == 200)
                seats[device] = told;
            else
                EXPECT_EQ(told.body.as_object().size(), 1u) << "only the sentence";
            return told.status;
        };
        const auto expectMembers = [&](const std::string &newest, const std::string &expected) {
            std::string names;
            for (const json::value &member : seats[newest].body.at("members").as_array())
                names += member.at("handle").as_string();
            EXPECT_EQ(names, expected);
        };
        const auto opens = [&](const std::string &device) {
            return lookIn(house, seats[device], 1).status == 200;
        };
        for (const char *device : {"x", "y", "z"})
            EXPECT_EQ(join(full, device), 200u);
        for (const char *device : {"a", "b", "c"}) {
            EXPECT_EQ(join(code, device), 200u);
            house.time.advance(day);
        }
        EXPECT_TRUE(opens("b"));
        settle(*house.ledger);
        house.time.advance(20 * day);
        if (way < 4)
            EXPECT_EQ(lookIn(house, seats["a"], way).status, 200u);
        else
            EXPECT_EQ(join(way == 4 ? code : full, "a"), way == 4 ? 200u : 409u);
        settle(*house.ledger);
        house.time.advance(9 * day);
        EXPECT_EQ(join(code, "d"), 409u) << "thirty days, and a little more to be sure";
        house.time.advance(2 * day);
        EXPECT_EQ(join(code, "d"), 200u);
        expectMembers("d", "abd");
        EXPECT_FALSE(opens("c"));
        EXPECT_FALSE(house.call("GET", "/me?device_id=c").body.at("joined").as_bool());
        EXPECT_EQ(join(code, "e"), 200u);
        expectMembers("e", "ade");

        const Told before = seats["d"]; // who moves gives up a seat
        EXPECT_EQ(join(house.newCircle().text("code"), "d"), 200u);
        EXPECT_EQ(lookIn(house, before, 1).status, 403u);
        EXPECT_EQ(join(code, "f"), 200u);
        expectMembers("f", "aef");
        for (const char *device : {"a", "d", "e", "f"})
            EXPECT_TRUE(opens(device)) << device;
    }
}

// To be seen takes a write now and then, and what cannot be written keeps nobody from anything.
TEST(Seats, AreSeenAtTheCostOfFewWritesAndWithoutADisk)
{
    std::atomic<int> commits = 0;
    std::atomic<bool> full = false;
    House house(Circles::Settings{.maxSeats = 1}, [&] {
        ++commits;
        if (full)
            throw LedgerUnavailable("the disk is full");
    });
    const std::string code = house.newCircle().text("code");
    const Told ana = house.join(code, "a");
    const json::object ben{{"code", code}, {"handle", "Ben"}, {"device_id", "b"}};
    const auto commitsOfManyLooks = [&] {
        const int before = commits;
        for (std::size_t i = 0; i < 100; ++i)
            EXPECT_EQ(lookIn(house, ana, i % 2).status, 200u);
        std::promise<void> done;
        house.ledger->write([](LedgerTransaction &, Seconds) {}, {},
                            [&](const std::exception_ptr &) { done.set_value(); });
        done.get_future().wait();
        return commits - before;
    };
    EXPECT_EQ(commitsOfManyLooks(), 1) << "the one that was waited for";
    house.time.advance(Sightings::precision);
    // The first one's; of those who came before it was done; of one who had looked before and tells
    // it after that; and the one that was waited for.
    EXPECT_LE(commitsOfManyLooks(), 4);
    full = true;
    house.time.advance(31 * day);
    EXPECT_LE(commitsOfManyLooks(), 6);
    full = false;
    house.time.advance(60);
    EXPECT_EQ(house.poll(ana, 1).status, 200u);
    EXPECT_EQ(house.post("/join", ben).status, 409u);

    // She was last seen by a server whose clock was ahead: not for ever.
    house.time.advance(-400 * day);
    EXPECT_EQ(house.post("/join", ben).status, 409u);
    settle(*house.ledger);
    house.time.advance(29 * day);
    EXPECT_EQ(house.post("/join", ben).status, 409u);
    house.time.advance(2 * day);
    EXPECT_EQ(house.post("/join", ben).status, 200u);
    EXPECT_EQ(house.poll(ana, 1).status, 403u);
}

namespace {

/// Statuses of what has to work when there is no room for beams.
void expectTheRestToWork(House &house, const Told &member)
{
    EXPECT_EQ(house.poll(member, 0).status, 200u);
    EXPECT_EQ(house.call("GET", "/me?device_id=a").status, 200u);
    EXPECT_EQ(house.call("GET", "/history?limit=9&circle_id=" + member.text("circle_id")).status,
              200u);
    house.join(member.text("code"), "new");
}

} // namespace

// Counted to the byte, whichever process takes the beams.
TEST(Quotas, OfACircleAreExactAndItsOwn)
{
    constexpr std::int64_t quota = 20'000;
    const Circles::Settings settings{.quotas = {.circle = quota}};
    House house(settings);
    const std::unique_ptr<Ledger> second = openLedger(house.database, house.time.clock());
    Circles neighbour(*second, house.time.clock(), systemRandomness, settings);
    const Told ana = house.join(house.newCircle().text("code"), "a");
    const std::string key = ana.text("circle_id");
    const std::string text(1'000, '\n'); // each takes six bytes in a reply
    const auto sendElsewhere = [&] {
        outcomeOf<Beam>([&](Done<Beam> done) {
            neighbour.send({key, ana.text("member_id"), "text", text, {}, {}}, std::move(done));
        });
    };
    sendElsewhere();
    while (house.sendText(ana, text).status == 200)
        sendElsewhere();
    EXPECT_THROW(sendElsewhere(), Refusal);
    std::int64_t kept = 0;
    const Circles::Room plenty = [](std::size_t) { return true; };
    const auto beams = outcomeOf<std::vector<Beam>>([&](Done<std::vector<Beam>> done) {
        house.circles.history(key, 200, plenty, std::move(done));
    });
    for (const Beam &beam : beams)
        kept += static_cast<std::int64_t>(wire::length(beam));
    EXPECT_LE(kept, quota);
    EXPECT_GT(kept + static_cast<std::int64_t>(wire::length(beams.front())), quota);
    expectTheRestToWork(house, ana);
    const Told ben = house.join(house.newCircle().text("code"), "b");
    EXPECT_EQ(house.sendText(ben, text).status, 200u);
}

// A disk is never filled by beams: those that wait for it are counted before they are written.
TEST(Quotas, KeepTheReserveOfADiskFree)
{
    constexpr std::int64_t reserve = 100 << 20;
    std::atomic<std::int64_t> free = std::int64_t{1} << 40;
    House house(Circles::Settings{.quotas = {.reserve = reserve}}, {}, {}, 1e6,
                [&] { return free.load(); });
    const Told ana = house.join(house.newCircle().text("code"), "a");
    free = reserve + (20 << 20);
    std::promise<void> entered;
    std::promise<void> go;
    house.ledger->write(
        [&](LedgerTransaction &, Seconds) {
            entered.set_value();
            go.get_future().wait();
        },
        {}, [](const std::exception_ptr &) {});
    entered.get_future().wait();
    std::atomic<int> accepted = 0;
    std::latch told(30);
    const std::string doodle =
        "data:image/png;base64,iVBORw0KGgoA" + std::string((2 << 20) - 36, 'A');
    for (int i = 0; i < 30; ++i) {
        house.circles.send({ana.text("circle_id"), ana.text("member_id"), "doodle", doodle, {}, {}},
                           [&](Outcome<Beam> beam) {
                               try {
                                   beam.take();
                                   ++accepted;
                               } catch (const Refusal &) {
                               }
                               told.count_down();
                           });
    }
    go.set_value();
    told.wait();
    EXPECT_EQ(accepted, 4) << "each is written twice, into the log and into the file";

    free = reserve;
    EXPECT_EQ(house.sendText(ana, "x").status, 507u);
    EXPECT_EQ(house.post("/circle/create", {{"device_id", "c"}}).status, 507u);
    expectTheRestToWork(house, ana);
}

TEST(SqliteLedger, KeepsItsFileWithinAQuota)
{
    constexpr std::int64_t quota = 1 << 20;
    House house(Circles::Settings{.quotas = {.database = quota}});
    const Told ana = house.join(house.newCircle().text("code"), "a");
    const std::string text(10'000, 'x');
    while (house.sendText(ana, text).status == 200)
        ;
    EXPECT_EQ(house.sendText(ana, text).status, 507u);
    expectTheRestToWork(house, ana);
    house.ledger.reset();
    const auto size =
        static_cast<std::int64_t>(std::filesystem::file_size(house.folder / "ledger.sqlite"));
    EXPECT_LE(size, quota);
    EXPECT_GT(size, quota * 9 / 10);
}

} // namespace kivolo::server::test
