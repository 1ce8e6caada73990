// What only the ledger on PostgreSQL has to stand.

#include "ledger/move.h"
#include "ledger/postgres_session.h"
#include "ledger/upkeep.h"
#include "records/wire.h"
#include "servers/postgres.h"
#include "support.h"

#include <array>
#include <gtest/gtest.h>
#include <latch>
#include <poll.h>
#include <random>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace kivolo::server::test {

namespace {

using std::chrono::milliseconds;

std::string ask(const std::string &sql)
{
    return Postgres::ofThisProgram().ask(sql);
}

/// Asks until it is told that.
void await(const std::string &sql, const std::string &answer)
{
    while (ask(sql) != answer)
        std::this_thread::yield();
}

constexpr const char *ours = " FROM pg_stat_activity WHERE application_name = 'kivolo-server'";

class PostgresLedger : public testing::Test
{
protected:
    void SetUp() override { onPostgres = true; }
    void TearDown() override { onPostgres = before_; }

private:
    bool before_ = onPostgres;
};

} // namespace

TEST_F(PostgresLedger, ProcessesTellEachOtherWhatTheyCommit)
{
    for (const bool notify : {true, false}) {
        Pair pair;
        Seat seen;
        const auto look = [&](Ledger::Done done) {
            pair.ledger->read(
                [&](LedgerView &view) { seen = *view.seatOfKey(pair.ben.text("circle_id")); },
                std::move(done));
        };
        const auto lookNow = [&] {
            std::promise<void> looked;
            look([&](const std::exception_ptr &) { looked.set_value(); });
            looked.get_future().wait();
        };
        lookNow();
        const Ledger::Waiting waiting{seen.circle.number, seen.circle.tick, seen.circle.regrouped};
        Heard heard;
        Neighbour neighbour(pair, {.lookInterval = milliseconds(5), .notify = notify});
        Ledger::Observer observer = heard.observer();
        if (!notify)
            observer.whatFor = [&](const auto &answer) { answer({waiting}); };
        neighbour.ledger->watch(observer);
        if (notify) // then both listen
            await("SELECT count(*) > 1" + std::string(ours) + " AND query LIKE 'NOTIFY%'", "t");
        sendThrough(pair.circles, pair.ana);
        lookNow();
        const Change beam = heard.next();
        EXPECT_EQ(beam.circle, seen.circle.number);
        EXPECT_EQ(beam.sender, seen.circle.sender);
        EXPECT_EQ(beam.tick, seen.circle.tick);
        pair.join(pair.code, "c");
        Change members = heard.next();
        while (members.sender != 0)
            members = heard.next(); // which is told again and again where one looks
        EXPECT_EQ(members.circle, seen.circle.number);
    }
}

// Whatever happens to the database: who asks is told in time, what was acknowledged is there, and
// nothing is there twice. Afterwards all goes on by itself.
TEST_F(PostgresLedger, OutlivesItsConnectionsAndItsServer)
{
    Postgres &postgres = Postgres::ofThisProgram();
    Pair pair;
    constexpr milliseconds patience{700};
    Neighbour neighbour(pair, {.patience = patience});
    const std::pair<const char *, std::function<void()>> troubles[] = {
        {"connections closed", [] { ask("SELECT pg_terminate_backend(pid)" + std::string(ours)); }},
        {"stopped", [&] { postgres.signal(SIGSTOP, true); }},
        {"killed", [&] { postgres.restart(); }},
    };
    int sent = 0;
    std::vector<std::string> acknowledged;
    const auto send = [&] {
        try {
            const auto beam = outcomeOf<Beam>([&](Done<Beam> done) {
                neighbour.circles.send(textFrom(pair.ana, std::to_string(++sent)), std::move(done));
            });
            acknowledged.push_back(beam.body);
            return true;
        } catch (const LedgerUnavailable &) {
            return false;
        }
    };
    for (const auto &[name, trouble] : troubles) {
        ASSERT_TRUE(send()) << name;
        trouble();
        const auto begin = std::chrono::steady_clock::now();
        const bool stopped = name == std::string("stopped");
        EXPECT_EQ(send(), !stopped) << name;
        if (stopped) {
            EXPECT_THROW(pollThrough(neighbour.circles, pair.ben, 1), LedgerUnavailable);
        }
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 4 * patience) << name;
        postgres.signal(SIGCONT, true);
        while (!send()) {
        }
    }
    std::map<std::string, int> kept;
    for (const Beam &beam : pollThrough(neighbour.circles, pair.ben, 1).beams)
        ++kept[beam.body];
    for (const auto &[body, count] : kept)
        EXPECT_EQ(count, 1) << body;
    for (const std::string &body : acknowledged)
        EXPECT_TRUE(kept.contains(body)) << body;
}

TEST(PostgresWatchdog, ClosesWhatTakesTooLongThoughNothingWasAskedForAWhile)
{
    std::array<int, 2> ends = {};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    const auto isClosedWithin = [&](milliseconds time) {
        pollfd file{ends[1], POLLIN, 0};
        return ::poll(&file, 1, static_cast<int>(time.count())) == 1;
    };
    PostgresWatchdog watchdog;
    const auto limit = [&](milliseconds time) {
        return PostgresWatchdog::Limit(watchdog, ends[0], std::chrono::steady_clock::now() + time);
    };
    {
        const auto inTime = limit(milliseconds(10'000));
    }
    EXPECT_FALSE(isClosedWithin(milliseconds(300)));
    const auto late = limit(milliseconds(0));
    EXPECT_TRUE(isClosedWithin(milliseconds(10'000)));
    ::close(ends[0]);
    ::close(ends[1]);
}

// Neither told to have been done nor done again.
TEST_F(PostgresLedger, DoesNotAcknowledgeWhatMayNotHaveBeenKept)
{
    Pair pair;
    std::function<void()> before;
    Neighbour neighbour(pair, {.beforeCommit = [&] { before(); }});
    const auto count = [&] { return pollThrough(pair.circles, pair.ben, 1).beams.size(); };
    before = [] {
        ask("SELECT pg_terminate_backend(pid)" + std::string(ours) +
            " AND state LIKE '%transaction'");
    };
    EXPECT_THROW(sendThrough(neighbour.circles, pair.ana), LedgerUnsure);
    EXPECT_EQ(count(), 0u);
    before = [] {};
    sendThrough(neighbour.circles, pair.ana);
    EXPECT_EQ(count(), 1u);

    const auto waitForCopies = [](const std::string &names) {
        ask("ALTER SYSTEM SET synchronous_standby_names = '" + names + "'");
        ask("SELECT pg_reload_conf()");
        await("SELECT current_setting('synchronous_standby_names')", names);
    };
    waitForCopies("nobody");
    auto sent =
        std::async(std::launch::async, [&] { return sendThrough(neighbour.circles, pair.ana); });
    await("SELECT bool_or(pg_cancel_backend(pid))" + std::string(ours) +
              " AND wait_event = 'SyncRep'",
          "t");
    EXPECT_THROW(sent.get(), LedgerUnsure) << "no copy was made, and the server may be lost";
    waitForCopies("");
}

// Several processes with several connections each, and devices that move from circle to circle:
// nobody is told that somebody else was in the way, and every circle has one order.
TEST_F(PostgresLedger, WritersOfManyProcessesGetAlong)
{
    House house({.maxSeats = 20});
    Neighbour neighbour(house);
    const auto ahead = openLedger(house.database, [&house] {
        return house.time.clock()() + std::chrono::seconds(1'000); // no two ticks get in the way
    });
    Circles others(*ahead, house.time.clock(), systemRandomness, {});
    Circles *const processes[] = {&neighbour.circles, &others};
    const std::string codes[] = {house.newCircle().text("code"), house.newCircle().text("code"),
                                 house.newCircle().text("code")};
    constexpr int rounds = 600;
    constexpr int devices = 4;
    std::vector<Told> seats;
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same each time
    const auto below = [&](std::size_t end) { return random() % end; };
    for (int i = 0; i < 9; ++i)
        seats.push_back(house.join(codes[i % 3], "sender " + std::to_string(i)));
    std::latch told(rounds);
    std::atomic<int> acknowledged = 0;
    const auto count = [&](auto outcome, bool beam) {
        try {
            outcome.take();
            acknowledged += beam;
        } catch (const Refusal &) {
        } catch (const std::exception &error) {
            ADD_FAILURE() << error.what();
        }
        told.count_down();
    };
    for (int i = 0; i < rounds; ++i) {
        Circles &circles = *processes[below(2)];
        if (below(3) == 0) {
            circles.join({codes[below(3)], "Dan", "mover " + std::to_string(below(devices)), "x"},
                         [&](const Outcome<Membership> &joined) { count(joined, false); });
        } else {
            circles.send(textFrom(seats[below(seats.size())]),
                         [&](const Outcome<Beam> &beam) { count(beam, true); });
        }
    }
    told.wait();
    std::size_t found = 0;
    for (int i = 0; i < 3; ++i) {
        const Told reader = house.join(codes[i], "reader");
        std::set<std::string> ids;
        for (Tick since = 1;;) {
            const Poll poll = pollThrough(house.circles, reader, since);
            for (const Beam &beam : poll.beams)
                EXPECT_TRUE(ids.insert(beam.id).second);
            if (poll.beams.empty())
                break;
            since = poll.serverTime - 1;
        }
        found += ids.size();
    }
    EXPECT_EQ(found, static_cast<std::size_t>(acknowledged));
    const std::string schema = house.database.substr(house.database.rfind('D') + 1);
    EXPECT_EQ(ask("SELECT count(*) FROM " + schema +
                  ".circle c WHERE bytes <> (SELECT sum(bytes)"
                  " FROM " +
                  schema + ".beam b WHERE b.circle = c.number)"),
              "0")
        << "one has overwritten what another one had counted";
}

// There and back: whoever polls goes on at the tick where he was, whoever comes is somebody new.
TEST_F(PostgresLedger, IsMovedToAndFromWithoutItsMembersNoticing)
{
    onPostgres = false;
    Pair house;
    const Told gone = house.join(house.code, "c");
    house.join(house.newCircle().text("code"), "d");
    const Tick since = pollThrough(house.circles, house.ben, 0).serverTime - 1;
    for (const Told &sender : {house.ana, gone, house.ben}) {
        house.sendText(sender, "as it is: \\ ' \" {} \n \u00e9", {{"effect", "shake"}});
        house.sendText(sender, "sealed", {{"open_at", house.time.now() + 1'000}});
    }
    house.join(house.newCircle().text("code"), "c"); // who leaves
    const std::string file = house.database;
    const std::string server = Postgres::ofThisProgram().newDatabase();
    EXPECT_THROW(moveDatabase(file, server), std::runtime_error) << "it is in use";
    house.ledger.reset();
    const std::string back = "sqlite:" + (house.folder / "back.sqlite").string();
    const auto told = [&](const std::string &database) {
        const auto ledger = openLedger(database, house.time.clock());
        Circles circles(*ledger, house.time.clock(), systemRandomness, {});
        std::string all;
        for (const Tick from : {Tick{0}, since})
            all += wire::poll(pollThrough(circles, house.ben, from));
        return all;
    };
    const std::string before = told(file);
    for (const auto &[from, to] : {std::pair(file, server), {server, back}}) {
        const Carried moved = moveDatabase(from, to);
        EXPECT_EQ(moved.circles, 3);
        EXPECT_EQ(moved.members, 4);
        EXPECT_EQ(moved.beams, 6);
        EXPECT_EQ(told(to), before);
        EXPECT_THROW(moveDatabase(from, to), std::runtime_error) << "it is not empty any more";
    }
    const auto ledger = openLedger(back, house.time.clock());
    Circles circles(*ledger, house.time.clock(), systemRandomness, {});
    const auto joined = outcomeOf<Membership>([&](Done<Membership> done) {
        circles.join({house.code, "Eve", "e", "x"}, std::move(done));
    });
    const auto polled = outcomeOf<Circles::Polled>([&](Done<Circles::Polled> done) {
        circles.poll(
            joined.seat.key, joined.seat.member.id, 0, [](std::size_t) { return true; },
            std::move(done));
    });
    EXPECT_EQ(polled.poll.beams.size(), 6u) << "she is not whoever has left";
}

TEST_F(PostgresLedger, SaysInASentenceWhyItDoesNotStart)
{
    TemporaryFolder folder;
    const auto start = [](const std::string &database) {
        try {
            openLedger(database, std::chrono::system_clock::now);
        } catch (const std::runtime_error &error) {
            return std::string(error.what());
        }
        return std::string();
    };
    const std::string nowhere = start("postgresql://ana:secret@/x?host=" + folder.path().string());
    EXPECT_NE(nowhere.find("cannot be used: "), std::string::npos) << nowhere;
    EXPECT_EQ(nowhere.find_first_of('\n'), std::string::npos) << nowhere;
    const std::string unreadable = start("postgresql://ana:secret@[host/x");
    EXPECT_NE(unreadable.find("cannot be read"), std::string::npos);
    EXPECT_EQ((nowhere + unreadable).find("secret"), std::string::npos);
    std::string database = newDatabase(folder);
    EXPECT_NO_THROW(checkDatabase(database));
    EXPECT_EQ(ask("SELECT count(*) FROM pg_tables WHERE schemaname || '' = '" +
                  database.substr(database.rfind('D') + 1) + "'"),
              "0")
        << "a check changes nothing";
    database.replace(database.find("host="), 5, "host=/nowhere,");
    EXPECT_EQ(start(database), "") << "of several hosts any will do";
}

} // namespace kivolo::server::test
