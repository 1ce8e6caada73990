// Who has a seat, who can take whose, and how much room there is for what is sent.

#include "records/wire.h"
#include "support.h"

#include <algorithm>
#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>
#include <latch>
#include <map>
#include <random>

namespace kivolo::server::test {

namespace json = boost::json;

namespace {

constexpr Seconds day = 86'400;

/// How seats are to be given and taken, told once more and as simply as possible.
class SeatModel
{
public:
    struct Taken
    {
        int device = 0;
        Seconds seen = 0;
        bool operator==(const Taken &other) const { return device == other.device; }
    };
    static constexpr std::size_t maxSeats = 3;
    static constexpr Seconds idle = 30 * day + Sightings::precision;

    /// Whether the circle had room, and then who had to leave it for that, or -1.
    std::pair<bool, int> join(int device, int circle, Seconds now)
    {
        see(device, now);
        std::vector<Taken> &seats = circles[circle];
        if (std::count(seats.begin(), seats.end(), Taken{device}))
            return {true, -1};
        int out = -1;
        if (seats.size() == maxSeats) {
            const auto longest =
                std::min_element(seats.begin(), seats.end(),
                                 [](const Taken &a, const Taken &b) { return a.seen < b.seen; });
            if (now - longest->seen < idle)
                return {false, -1};
            out = longest->device;
            seats.erase(longest);
        }
        for (auto &[number, others] : circles)
            std::erase(others, Taken{device});
        seats.push_back({device, now});
        return {true, out};
    }
    void see(int device, Seconds now)
    {
        for (auto &[circle, seats] : circles) {
            for (Taken &seat : seats) {
                if (seat.device == device && now - seat.seen >= Sightings::precision)
                    seat.seen = now;
            }
        }
    }
    int circleOf(int device) const
    {
        for (const auto &[circle, seats] : circles) {
            if (std::count(seats.begin(), seats.end(), Taken{device}))
                return circle;
        }
        return -1;
    }

    std::map<int, std::vector<Taken>> circles;
};

/// One of the ways of being seen.
Told lookIn(House &house, int device, const Told &seat, std::size_t way)
{
    const std::string key = "circle_id=" + seat.text("circle_id");
    switch (way % 4) {
    case 0:
        return house.poll(seat, 1);
    case 1:
        return house.call("GET", "/history?limit=1&" + key);
    case 2:
        return house.sendText(seat, "x");
    default:
        return house.call("GET", "/me?device_id=" + std::to_string(device));
    }
}

} // namespace

TEST(Seats, AreGivenAndTakenOverAsInAModelOfThem)
{
    constexpr int devices = 9;
    int takenOver = 0;
    int refused = 0;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        std::minstd_rand random(seed);
        House house(Circles::Settings{.maxSeats = SeatModel::maxSeats});
        SeatModel model;
        const std::string codes[] = {house.newCircle().text("code"),
                                     house.newCircle().text("code")};
        std::map<int, Told> seats; // what each device was told last
        std::vector<std::pair<std::string, int>> dead;
        for (int step = 0; step < 120; ++step) {
            const int device = static_cast<int>(random() % devices);
            const Seconds now = house.time.now();
            const int before = model.circleOf(device);
            const auto what = random() % 6;
            if (what < 2) {
                const int circle = static_cast<int>(random() % 2);
                const auto [room, out] = model.join(device, circle, now);
                const Told told = house.post("/join", {{"code", codes[circle]},
                                                       {"handle", std::to_string(device)},
                                                       {"device_id", std::to_string(device)}});
                ASSERT_EQ(told.status, room ? 200u : 409u) << seed << ' ' << step;
                if (!room) {
                    EXPECT_EQ(told.body.as_object().size(), 1u) << "only the sentence";
                    ++refused;
                    continue;
                }
                if (out >= 0)
                    dead.emplace_back(seats.at(out).text("circle_id"), out);
                if (before >= 0 && before != circle)
                    dead.emplace_back(seats.at(device).text("circle_id"), device);
                takenOver += out >= 0;
                seats[device] = told;
                std::vector<std::string> names, expected;
                for (const auto &member : told.body.at("members").as_array())
                    names.emplace_back(member.at("handle").as_string());
                for (const SeatModel::Taken &seat : model.circles[circle])
                    expected.push_back(std::to_string(seat.device));
                ASSERT_EQ(names, expected) << seed << ' ' << step;
            } else if (what == 2) {
                house.time.advance(static_cast<Seconds>(random() % 16) * day);
            } else if (seats.contains(device)) {
                model.see(device, now);
                const Told told = lookIn(house, device, seats.at(device), random());
                const bool joined =
                    told.status == 200u &&
                    (!told.body.as_object().contains("joined") || told.body.at("joined").as_bool());
                ASSERT_EQ(joined, before >= 0) << seed << ' ' << step;
            }
            settle(*house.ledger);
            for (const auto &[key, owner] : dead) {
                ASSERT_EQ(house.call("GET", "/history?limit=1&circle_id=" + key).status, 403u)
                    << owner;
            }
        }
    }
    EXPECT_GT(takenOver, 10);
    EXPECT_GT(refused, 10);
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
        for (int i = 0; i < 100; ++i)
            EXPECT_EQ(lookIn(house, 0, ana, static_cast<std::size_t>(i % 2)).status, 200u);
        std::promise<void> done;
        house.ledger->write([](LedgerTransaction &, Seconds) {}, {},
                            [&](const std::exception_ptr &) { done.set_value(); });
        done.get_future().wait();
        return commits - before;
    };
    EXPECT_EQ(commitsOfManyLooks(), 1) << "the one that was waited for";
    house.time.advance(Sightings::precision);
    EXPECT_LE(commitsOfManyLooks(), 3);
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
    const std::unique_ptr<Ledger> second =
        openLedger("sqlite:" + (house.folder / "ledger.sqlite").string(), house.time.clock());
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

TEST(Quotas, BoundTheDatabasesFile)
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
