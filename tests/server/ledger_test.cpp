// Nothing that was accepted may be lost between two polls, however writes and reads interleave.

#include "support.h"

#include <boost/json/serialize.hpp>
#include <condition_variable>
#include <future>
#include <gtest/gtest.h>
#include <mutex>
#include <set>
#include <thread>

namespace kivolo::server::test {

namespace json = boost::json;

namespace {

/// Holds a commit back until it is let go.
class Gate
{
public:
    void shut() { set(false); }
    void open() { set(true); }
    void pass()
    {
        std::unique_lock lock(mutex_);
        waiting_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return open_; });
        waiting_ = false;
    }
    void awaitWaiting()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return waiting_; });
    }

private:
    void set(bool open)
    {
        const std::lock_guard lock(mutex_);
        open_ = open;
        changed_.notify_all();
    }
    std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = true;
    bool waiting_ = false;
};

std::set<std::string> idsOf(const Told &poll)
{
    std::set<std::string> ids;
    for (const json::value &beam : poll.beams())
        ids.emplace(beam.at("id").as_string());
    return ids;
}

Seconds nextSince(const Told &poll)
{
    return poll.body.at("server_time").as_int64() - 1;
}

} // namespace

// The polls run either in the process that writes or, as those of a second server on the same
// file, in one that knows nothing of the write but its lock.
class DelayedCommit : public testing::TestWithParam<bool>
{};

TEST_P(DelayedCommit, IsNotMissedByAnyLaterPoll)
{
    Gate gate;
    House writing({}, [&gate] { gate.pass(); });
    const std::unique_ptr<Ledger> ledger =
        openLedger("sqlite:" + (writing.folder / "ledger.sqlite").string(), writing.time.clock());
    Circles circles(*ledger, writing.time.clock(), systemRandomness, {});
    Circles &polled = GetParam() ? circles : writing.circles;
    Ledger &polledLedger = GetParam() ? *ledger : *writing.ledger;

    const std::string code = writing.newCircle().text("code");
    const Told ana = writing.join(code, "a");
    const Told ben = writing.join(code, "b");
    const auto poll = [&](Seconds since) {
        return polled.poll(ben.text("circle_id"), ben.text("member_id"), since);
    };
    Seconds since = poll(0).serverTime - 1;
    writing.time.advance(5);
    settle(polledLedger);
    since = poll(since).serverTime - 1;
    EXPECT_EQ(since, writing.time.now() - 1) << "nobody writes: the horizon is now";

    gate.shut();
    std::promise<std::string> accepted;
    writing.circles.send({ana.text("circle_id"), ana.text("member_id"), "text", "slow", {}, {}},
                         [&](Outcome<Beam> beam) { accepted.set_value(beam.take().id); });
    gate.awaitWaiting();
    for (int i = 0; i < 5; ++i) { // five polls, ten seconds each, while the disk does not answer
        writing.time.advance(10);
        const Poll empty = poll(since);
        EXPECT_TRUE(empty.beams.empty());
        since = std::max<Seconds>(0, empty.serverTime - 1);
    }
    gate.open();
    const std::string id = accepted.get_future().get();
    const Poll found = poll(since);
    ASSERT_EQ(found.beams.size(), 1u);
    EXPECT_EQ(found.beams[0].id, id);
    settle(polledLedger);
    EXPECT_TRUE(poll(poll(found.serverTime - 1).serverTime - 1).beams.empty())
        << "the horizon has moved on";
}

INSTANTIATE_TEST_SUITE_P(Ledger, DelayedCommit, testing::Bool());

TEST(Ledger, MissesNothingWhileManySendAndAClockIsSetBack)
{
    House house;
    const std::string code = house.newCircle().text("code");
    const Told ben = house.join(code, "b");
    std::vector<Told> senders;
    for (const char *device : {"1", "2", "3", "4"})
        senders.push_back(house.join(code, device));
    constexpr int each = 100;
    std::mutex mutex;
    std::set<std::string> accepted;
    std::atomic<int> left{each * static_cast<int>(senders.size())};
    std::vector<std::jthread> threads;
    for (const Told &sender : senders) {
        threads.emplace_back([&, circle = sender.text("circle_id"),
                              member = sender.text("member_id")] {
            for (int i = 0; i < each; ++i) {
                house.circles.send({circle, member, "text", "x", {}, {}}, [&](Outcome<Beam> beam) {
                    const std::string id = beam.take().id;
                    const std::lock_guard lock(mutex);
                    accepted.insert(id);
                    --left;
                });
                house.time.advance(i % 7 == 6 ? -1 : i % 3 == 2 ? 1 : 0);
            }
        });
    }
    std::set<std::string> seen;
    Seconds since = 0;
    for (bool last = false; !last;) {
        last = left == 0;
        const Told reply = house.poll(ben, since);
        seen.merge(idsOf(reply));
        since = std::max<Seconds>(0, nextSince(reply));
    }
    EXPECT_EQ(seen, accepted);
    EXPECT_EQ(accepted.size(), 400u);
}

// The one who stamps never heard what was told: it is the same server after a restart, or another.
class ClockSetBack : public testing::TestWithParam<bool>
{};

TEST_P(ClockSetBack, LetsNoBeamFallBehindWhatWasTold)
{
    House house;
    const std::string database = "sqlite:" + (house.folder / "ledger.sqlite").string();
    const std::string code = house.newCircle().text("code");
    const Told ana = house.join(code, "a");
    const Told ben = house.join(code, "b");
    house.time.advance(60);
    settle(*house.ledger);
    const Seconds told = house.poll(ben, house.time.now() - 2).body.at("server_time").as_int64();
    EXPECT_EQ(told, house.time.now());

    house.time.advance(-10);
    if (GetParam())
        house.ledger.reset();
    const std::unique_ptr<Ledger> other = openLedger(database, house.time.clock());
    Circles circles(*other, house.time.clock(), systemRandomness, {});
    std::promise<Beam> sent;
    circles.send({ana.text("circle_id"), ana.text("member_id"), "text", "x", {}, {}},
                 [&](Outcome<Beam> beam) { sent.set_value(beam.take()); });
    EXPECT_GE(sent.get_future().get().createdAt, told);
    house.time.advance(20); // the client comes back when nothing tells of the clock any more
    EXPECT_EQ(circles.poll(ben.text("circle_id"), ben.text("member_id"), told - 1).beams.size(),
              1u);
}

INSTANTIATE_TEST_SUITE_P(Ledger, ClockSetBack, testing::Bool());

// Polls alone have to bring the horizon forward, or each would repeat what the last one brought.
TEST(Ledger, PollsMoveTheHorizonOn)
{
    House house;
    const std::string code = house.newCircle().text("code");
    const Told ana = house.join(code, "a");
    const Told ben = house.join(code, "b");
    const Seconds sent = house.sendText(ana, "x").body.at("created_at").as_int64();
    house.time.advance(1);
    Seconds told = 0;
    while (told <= sent) // the writer is not waited for by a poll
        told = house.poll(ben, sent - 1).body.at("server_time").as_int64();
    house.time.advance(5);
    while (told < house.time.now())
        told = house.poll(ben, told - 1).body.at("server_time").as_int64();
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
                [](LedgerTransaction &, Seconds) {}, bytes,
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

TEST(Ledger, ADatabaseLockedByAnotherIsTold)
{
    Gate gate;
    House house({}, [&gate] { gate.pass(); });
    const Told ana = house.join(house.newCircle().text("code"), "a");
    settle(*house.ledger);
    const auto other = openLedger("sqlite:" + (house.folder / "ledger.sqlite").string(),
                                  house.time.clock(), {.patience = std::chrono::milliseconds(1)});
    Circles circles(*other, house.time.clock(), systemRandomness, {});
    Routes routes(circles, house.site);
    const std::string beam = json::serialize(json::object{{"circle_id", ana.text("circle_id")},
                                                          {"from_member", ana.text("member_id")},
                                                          {"type", "text"},
                                                          {"body", "x"}});
    const auto send = [&] {
        std::promise<unsigned> status;
        routes.handle({"POST", "/beam", "application/json", beam},
                      [&](const http::Response &reply) { status.set_value(reply.status); });
        return status.get_future().get();
    };
    gate.shut();
    house.ledger->write([](LedgerTransaction &, Seconds) {}, 0, [](const std::exception_ptr &) {});
    gate.awaitWaiting();
    EXPECT_EQ(send(), 503u);
    gate.open();
    settle(*house.ledger);
    EXPECT_EQ(send(), 200u);
}

TEST(Ledger, AFailedWriteLeavesNothingAndTheNextOneWorks)
{
    House house;
    const Told ana = house.join(house.newCircle().text("code"), "a");
    std::promise<std::exception_ptr> told;
    house.ledger->write(
        [](LedgerTransaction &ledger, Seconds now) {
            ledger.addCircle({0, "id", "CODE", 5}, "", now);
            throw LedgerUnavailable("disk full");
        },
        0, [&](std::exception_ptr failure) { told.set_value(failure); });
    EXPECT_THROW(std::rethrow_exception(told.get_future().get()), LedgerUnavailable);
    std::promise<std::exception_ptr> refused;
    house.ledger->write(
        [](LedgerTransaction &ledger, Seconds now) {
            ledger.addCircle({0, "id", "CODE", 5}, "", now);
            throw Refusal(Refusal::Reason::Conflict, "no");
        },
        0, [&](std::exception_ptr failure) { refused.set_value(failure); });
    EXPECT_THROW(std::rethrow_exception(refused.get_future().get()), Refusal);
    EXPECT_FALSE(house.ledger->view().circleById("id"));
    EXPECT_EQ(house.sendText(ana, "after").status, 200u);
}

} // namespace kivolo::server::test
