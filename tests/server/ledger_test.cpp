// Nothing that was accepted may be lost between two polls, however writes and reads interleave.

#include "allocations.h"
#include "support.h"

#include <atomic>
#include <barrier>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <latch>
#include <random>
#include <thread>

namespace kivolo::server::test {

namespace {

/// Holds a commit back until it is let go.
class Gate
{
public:
    void shut() { open_ = false; }
    void open()
    {
        open_ = true;
        open_.notify_all();
    }
    void pass()
    {
        waiting_ = true;
        waiting_.notify_all();
        open_.wait(false);
        waiting_ = false;
    }
    void awaitWaiting() const { waiting_.wait(false); }

private:
    std::atomic<bool> open_ = true;
    std::atomic<bool> waiting_ = false;
};

/// How reading ends, once it has.
std::exception_ptr lookAt(Ledger &ledger, const std::function<void(LedgerView &)> &look)
{
    std::promise<std::exception_ptr> end;
    ledger.read(look, [&](const std::exception_ptr &failure) { end.set_value(failure); });
    return end.get_future().get();
}

std::string contentOf(const std::filesystem::path &file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// Has each of the ledger's reading threads do it once, by letting none go on before the last.
void onEveryReader(Ledger &ledger, const std::function<void(LedgerView &)> &action)
{
    std::barrier together(readerCount());
    std::latch done(readerCount());
    for (int i = 0; i < readerCount(); ++i) {
        ledger.read(
            [&](LedgerView &view) {
                together.arrive_and_wait();
                action(view);
            },
            [&](const std::exception_ptr &) { done.count_down(); });
    }
    done.wait();
}

} // namespace

// The polls run either in the process that writes or, as those of a second server on the same
// database, in one that knows nothing of the write but its lock.
TEST(Ledger, ADelayedCommitIsNotMissedByAnyLaterPoll)
{
    for (const bool elsewhere : {false, true}) {
        Gate gate;
        Pair writing({}, [&gate] { gate.pass(); });
        Neighbour neighbour(writing);
        Circles &polled = elsewhere ? neighbour.circles : writing.circles;
        const auto poll = [&](Tick since) { return pollThrough(polled, writing.ben, since); };
        sendThrough(writing.circles, writing.ana);
        Tick since = poll(0).serverTime - 1;
        writing.time.advance(-86'400); // which puts no beam before what was told
        settle(*writing.ledger);

        gate.shut();
        std::promise<std::string> accepted;
        writing.circles.send(textFrom(writing.ana),
                             [&](Outcome<Beam> beam) { accepted.set_value(beam.take().id); });
        gate.awaitWaiting();
        for (int i = 0; i < 5; ++i) { // ten seconds each, while the disk does not answer
            writing.time.advance(10);
            const Poll empty = poll(since);
            EXPECT_TRUE(empty.beams.empty());
            since = empty.serverTime - 1;
        }
        gate.open();
        const std::string id = accepted.get_future().get();
        const Poll found = poll(since);
        ASSERT_EQ(found.beams.size(), 1u);
        EXPECT_EQ(found.beams[0].id, id);
        EXPECT_TRUE(poll(found.serverTime - 1).beams.empty()) << "it came a second time";
    }
}

// A glance remembers. What it tells is nevertheless what is on disk, whichever of two processes has
// changed it, however many commits that was and wherever they stand in the log.
TEST(SqliteLedger, AGlanceTellsWhatIsOnDisk)
{
    House house;
    Neighbour neighbour(house);
    const std::array<Ledger *, 2> ledgers{house.ledger.get(), neighbour.ledger.get()};
    const std::array<Circles *, 2> servers{&house.circles, &neighbour.circles};
    const std::array<std::string, 2> codes{house.newCircle().text("code"),
                                           house.newCircle().text("code")};
    const auto numbers = [](const std::optional<Seat> &seat) {
        return seat ? std::vector{seat->circle.number,     seat->circle.tick,   seat->circle.sender,
                                  seat->circle.othersTick, seat->member.number, seat->member.circle,
                                  seat->member.seen}
                    : std::vector<std::int64_t>();
    };
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same each time
    const auto below = [&](std::size_t end) { return random() % end; };
    std::vector<Seat> seats; // also those that were given up
    const auto join = [&](Circles &server) {
        const std::string device = std::to_string(below(4));
        const JoinRequest request{codes[below(2)], "Ana", device, "x"};
        seats.push_back(outcomeOf<Membership>([&](Done<Membership> done) {
                            server.join(request, std::move(done));
                        }).seat);
    };
    join(house.circles);
    for (int step = 0; step < 1'000; ++step) {
        Circles &server = *servers[below(2) & below(2)];
        house.time.advance(static_cast<Seconds>(below(3'600)));
        const Seat &seat = seats[below(seats.size())];
        if (below(10) == 0) {
            join(server);
        } else {
            std::promise<void> told;
            server.send({seat.key, seat.member.id, "text", std::string(9'000, 'x'), {}, {}},
                        [&](const Outcome<Beam> &) { told.set_value(); });
            told.get_future().wait();
        }
        if (below(3) > 0)
            continue; // so that commits of both lie between two looks
        const Seat &asked = seats[below(seats.size())];
        const std::string stranger(32, '0');
        for (Ledger *ledger : ledgers)
            settle(*ledger); // that somebody was seen is written in its own time
        for (Ledger *ledger : ledgers) {
            std::vector<std::int64_t> truth;
            lookAt(*ledger, [&](LedgerView &view) { truth = numbers(view.seatOfKey(asked.key)); });
            for (int time : {1, 2})
                ASSERT_EQ(numbers(ledger->glance()->seat(asked.key, asked.member.id)), truth)
                    << step << ", time " << time;
            ASSERT_FALSE(ledger->glance()->seat(asked.key, stranger)) << "not that member's";
        }
    }
}

// A read that fails in the middle must not keep the connection at the state it had then.
TEST(Ledger, SeesWhatIsNewAfterAReadThatRanOutOfMemory)
{
    Pair house;
    const Tick since = nextSince(house.poll(house.ben, 0));
    for (int i = 0; i < 3; ++i)
        house.sendText(house.ana, std::string(9'000, 'x'));
    onEveryReader(*house.ledger, [](LedgerView &) { failAllocations(9'000); });
    const Told failed = house.poll(house.ben, since);
    onEveryReader(*house.ledger, [](LedgerView &) { failAllocations(0); });
    EXPECT_EQ(failed.status, 500u);
    house.sendText(house.ana, "new");
    onEveryReader(*house.ledger, [key = house.ben.text("circle_id")](LedgerView &ledger) {
        EXPECT_EQ(ledger.latestSizes(ledger.seatOfKey(key)->circle.number, 9).size(), 4u);
    });
}

TEST(Ledger, RefusesWhatTheDiskCannotKeepUpWith)
{
    for (const std::size_t bytes : {std::size_t{0}, std::size_t{2} << 20}) {
        Gate gate;
        House house({}, [&gate] { gate.pass(); });
        const Told ana = house.join(house.newCircle().text("code"), "a");
        settle(*house.ledger);
        gate.shut();
        std::atomic<int> written = 0;
        std::atomic<bool> full = false;
        const auto write = [&] {
            house.ledger->write(
                [](LedgerTransaction &, Seconds) {}, {bytes},
                [&](const std::exception_ptr &failure) { failure ? full = true : ++written; });
        };
        write();
        gate.awaitWaiting();
        int accepted = 0;
        for (; !full && accepted < 100'000; ++accepted)
            write();
        EXPECT_EQ(accepted, bytes == 0 ? 2'049 : 32) << "one of them was refused";
        EXPECT_EQ(house.sendText(ana, std::string(10'000, 'x')).status, 503u);
        gate.open();
        while (written < accepted) // the queue is full: settle() would be refused as well
            std::this_thread::yield();
        EXPECT_EQ(house.sendText(ana, "x").status, 200u);
    }
}

// Nobody waits longer than the patience, whoever is before him, and what was told to have failed is
// not done afterwards.
TEST(SqliteLedger, ADatabaseLockedByAnotherIsToldInTime)
{
    constexpr int sends = 30;
    Gate gate;
    House house({}, [&gate] { gate.pass(); });
    const Told ana = house.join(house.newCircle().text("code"), "a");
    settle(*house.ledger);
    Neighbour locked(house, {.patience = std::chrono::milliseconds(300)});
    std::atomic<int> kept = 0;
    std::latch failed(sends);
    const auto send = [&] {
        locked.circles.send(textFrom(ana), [&](Outcome<Beam> beam) {
            try {
                beam.take();
                ++kept;
            } catch (const LedgerUnavailable &) {
                failed.count_down();
            }
        });
    };
    gate.shut();
    house.ledger->write([](LedgerTransaction &, Seconds) {}, {}, [](const std::exception_ptr &) {});
    gate.awaitWaiting();
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < sends; ++i)
        send();
    failed.wait();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
    gate.open();
    settle(*house.ledger);
    send();
    settle(*locked.ledger);
    EXPECT_EQ(kept, 1);
    EXPECT_EQ(house.poll(house.join(ana.text("code"), "b"), 0).beams().size(), 1u);
}

// By then whoever asked for it has been told so, or has given up.
TEST(Ledger, WhatCouldNotBeBegunWithinThePatienceNeverIs)
{
    TemporaryFolder folder;
    ManualClock time;
    Gate disk;
    auto ledger = openLedger(newDatabase(folder), time.clock(),
                             {.waitingClock = time.steadyClock(),
                              .beforeCommit = [&] { disk.pass(); },
                              .writers = 1}); // which the disk keeps
    std::string done;
    std::string failed;
    const auto write = [&](char name) {
        ledger->write([&, name](LedgerTransaction &, Seconds) { done += name; }, {},
                      [&, name](const std::exception_ptr &failure) {
                          if (failure)
                              failed += name;
                      });
    };
    disk.shut();
    write('a');
    disk.awaitWaiting();
    write('b');
    time.advance(1);
    write('c');
    time.advance(4); // as long as b may wait
    disk.open();
    settle(*ledger);
    EXPECT_EQ(done, "ac");
    EXPECT_EQ(failed, "b");

    std::latch reading(readerCount() + 1);
    std::promise<void> read;
    const std::shared_future<void> enough = read.get_future().share();
    for (int i = 0; i < readerCount(); ++i) {
        ledger->read(
            [&](LedgerView &) {
                reading.arrive_and_wait();
                enough.wait();
            },
            [](const std::exception_ptr &) {});
    }
    reading.arrive_and_wait();
    std::promise<bool> looked;
    ledger->read([&](LedgerView &) { done += 'd'; },
                 [&](const std::exception_ptr &failure) { looked.set_value(!failure); });
    time.advance(5);
    read.set_value();
    EXPECT_FALSE(looked.get_future().get());
    EXPECT_EQ(done, "ac");
    ledger.reset(); // its readers may not have left the wait
}

// Each change once, in order, whoever else writes; and nothing of what this process does itself.
TEST(SqliteLedger, HearsWhatOtherProcessesCommit)
{
    Pair house;
    Heard heard;
    Neighbour neighbour(house, {.watchInterval = std::chrono::milliseconds(1)});
    const Told other = house.newCircle();
    house.join(house.code, "b", "Bea");
    neighbour.ledger->watch(heard.observer());
    const auto expect = [&heard](std::int64_t circle, std::int64_t sender, bool beam) {
        const Change change = heard.next();
        EXPECT_EQ(change.circle, circle);
        EXPECT_EQ(change.sender, sender);
        EXPECT_EQ(change.tick > 0, beam);
        return change.tick;
    };
    expect(1, 0, false); // what was before it began to listen
    for (int i = 0; i < 3; ++i) {
        sendThrough(house.circles, house.ana);
        const Tick tick = expect(1, 1, true);
        sendThrough(neighbour.circles, house.ben); // between the others', in the same file
        sendThrough(house.circles, house.ben);
        EXPECT_EQ(expect(1, 2, true), tick + 2);
    }
    house.join(house.code, "b", "Ben"); // another name
    expect(1, 0, false);
    house.join(other.text("code"), "b"); // moves away
    expect(1, 0, false);
    expect(2, 0, false);
    house.ledger->write(
        [](LedgerTransaction &ledger, Seconds) {
            Beam beam;
            Member sender;
            sender.number = sender.circle = 1;
            for (int i = 0; i < 11'000; ++i) {
                beam.id = std::to_string(i);
                ledger.addBeam(beam, i, sender, 1);
            }
        },
        {}, [](const std::exception_ptr &) {});
    while (heard.next().circle != 0) {
    }
}

TEST(Ledger, IsBroughtUpToDateAsAWholeOrNotAtAll)
{
    Pair house;
    house.sendText(house.ana, "x");
    house.ledger.reset();
    const auto start = [&](std::vector<std::vector<std::string>> migrations) {
        try {
            const auto ledger = openLedger(house.database, house.time.clock(),
                                           {.trialMigrations = std::move(migrations)});
            Circles circles(*ledger, house.time.clock(), systemRandomness, {});
            EXPECT_EQ(pollThrough(circles, house.ben, 0).beams.size(), 1u);
        } catch (const std::runtime_error &error) {
            return std::string(error.what());
        }
        return std::string();
    };
    const std::vector<std::string> good{"ALTER TABLE beam ADD COLUMN trial TEXT",
                                        "CREATE TABLE trial (x INTEGER)"};
    const std::vector<std::string> bad{"ALTER TABLE circle ADD COLUMN other TEXT",
                                       "CREATE TABLE trial (x INTEGER)"}; // which there is
    EXPECT_NE(start({good, bad}), "");
    EXPECT_EQ(start({}), "") << "nothing was changed";
    EXPECT_EQ(start({good}), "");
    EXPECT_EQ(start({good}), "") << "once is enough";
    EXPECT_NE(start({}).find("newer version"), std::string::npos);
    const bool isFile = house.database.starts_with("sqlite:");
    EXPECT_EQ(std::filesystem::exists(house.folder / "ledger.sqlite.version-9"), isFile);
}

TEST(SqliteLedger, DoesNotStartOnADamagedFile)
{
    TemporaryFolder folder;
    const std::filesystem::path file = folder / "x";
    std::string whole;
    {
        House house;
        const Told ana = house.join(house.newCircle().text("code"), "a");
        for (int i = 0; i < 200; ++i)
            house.sendText(ana, "a note");
        house.ledger.reset();
        whole = contentOf(house.folder / "ledger.sqlite");
    }
    const auto start = [&file](const std::string &content) {
        std::ofstream(file, std::ios::binary) << content;
        try {
            openLedger("sqlite:" + file.string(), std::chrono::system_clock::now);
        } catch (const std::runtime_error &error) {
            return std::string(error.what());
        }
        return std::string();
    };
    constexpr std::size_t page = 4096;
    ASSERT_GT(whole.size(), 15 * page);
    EXPECT_EQ(start(whole), "");
    for (std::size_t at = 0; at < whole.size(); at += page) {
        std::string damaged = whole;
        damaged.replace(at, page, page, '\x5a');
        EXPECT_NE(start(damaged).find("it is damaged"), std::string::npos) << at / page;
        EXPECT_NE(start(whole.substr(0, at + page / 2)), "") << "cut off in page " << at / page;
    }
    std::string foreign = whole;
    foreign.replace(68, 4, "xxxx"); // where a program writes whose file it is
    EXPECT_NE(start(foreign).find("another program"), std::string::npos);
    EXPECT_EQ(contentOf(file), foreign);
}

// Neither is anything acknowledged that can't be kept nor anything read that may be wrong, on any
// way, and those who wait are sent to find out.
TEST(SqliteLedger, UsesNoFileThatIsDamagedOrGone)
{
    const char *const cases[] = {"", "-wal", "-shm", "replaced", "damaged"};
    for (const std::string broken : cases) {
        House maker;
        const Told ana = maker.join(maker.newCircle().text("code"), "a");
        maker.sendText(ana, "x");
        const Tick since = nextSince(maker.poll(ana, 0));
        maker.ledger.reset(); // so that all is in one file
        Neighbour house(maker, {.watchInterval = std::chrono::milliseconds(1)});
        Heard heard;
        house.ledger->watch(heard.observer());
        const auto polled = [&] {
            return house.circles.nothingNew(ana.text("circle_id"), ana.text("member_id"), since);
        };
        const auto read = [&] { return pollThrough(house.circles, ana, 0); };
        EXPECT_TRUE(polled());
        const std::filesystem::path file = maker.folder / "ledger.sqlite";
        const std::filesystem::path elsewhere = maker.folder / "elsewhere";
        const std::filesystem::path name = file.string() + (broken[0] == '-' ? broken : "");
        if (broken == "damaged") {
            const std::string rest(std::filesystem::file_size(file) - 4096, 'x');
            std::fstream(file, std::ios::in | std::ios::out | std::ios::binary).seekp(4096) << rest;
            EXPECT_THROW(read(), LedgerUnavailable);
        } else {
            std::filesystem::rename(name, elsewhere);
            if (broken == "replaced")
                std::filesystem::copy_file(elsewhere, name);
        }
        EXPECT_EQ(heard.next().circle, 0) << broken;
        EXPECT_THROW(sendThrough(house.circles, ana), LedgerUnavailable) << broken;
        EXPECT_THROW(read(), LedgerUnavailable) << broken;
        EXPECT_FALSE(polled()) << broken;
        if (broken == "damaged")
            continue;
        std::filesystem::rename(elsewhere, name);
        sendThrough(house.circles, ana);
        EXPECT_TRUE(
            house.circles.nothingNew(ana.text("circle_id"), ana.text("member_id"), since + 1));
    }
}

TEST(Ledger, WhatIsLargeDoesNotKeepWhatIsSmallWaiting)
{
    TemporaryFolder folder;
    ManualClock time;
    const auto ledger = openLedger(newDatabase(folder), time.clock());
    Gate disk;
    disk.shut();
    const int larges = 2 * readerCount();
    std::latch done(larges);
    for (int i = 0; i < larges; ++i) {
        ledger->read(
            [&](LedgerView &view) {
                view.announce(90 << 20);
                disk.pass();
            },
            [&](const std::exception_ptr &failure) {
                EXPECT_FALSE(failure);
                done.count_down();
            });
    }
    std::promise<void> told;
    ledger->read([](LedgerView &view) { view.announce(1 << 10); },
                 [&](const std::exception_ptr &) { told.set_value(); });
    EXPECT_EQ(told.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    disk.open();
    done.wait();
}

// Neither does it take with it what shares its transaction.
TEST(Ledger, AFailedWriteLeavesNothingAndItsNeighbourIsKept)
{
    House house;
    const Told ana = house.join(house.newCircle().text("code"), "a");
    const auto failingWith = [&](const auto &error) {
        std::promise<void> go;
        std::promise<Outcome<Beam>> sent;
        std::promise<std::exception_ptr> told;
        house.ledger->write(
            [going = go.get_future().share()](LedgerTransaction &, Seconds) { going.wait(); }, {},
            [](const std::exception_ptr &) {});
        house.circles.send(textFrom(ana), [&](Outcome<Beam> beam) { sent.set_value(beam); });
        house.ledger->write(
            [&](LedgerTransaction &ledger, Seconds now) {
                ledger.addCircle({{.code = "CODE", .maxSeats = 5}, "key"}, {"device", ""}, now);
                throw error;
            },
            {}, [&](std::exception_ptr failure) { told.set_value(failure); });
        go.set_value();
        EXPECT_NO_THROW(sent.get_future().get().take());
        std::rethrow_exception(told.get_future().get());
    };
    EXPECT_THROW(failingWith(LedgerUnavailable("disk full")), LedgerUnavailable);
    EXPECT_THROW(failingWith(Refusal(Refusal::Reason::Conflict, "no")), Refusal);
    lookAt(*house.ledger,
           [](LedgerView &ledger) { EXPECT_FALSE(ledger.circleByCode("CODE").has_value()); });
}

} // namespace kivolo::server::test
