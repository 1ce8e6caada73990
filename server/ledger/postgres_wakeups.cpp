#include "postgres_wakeups.h"

#include <algorithm>
#include <poll.h>
#include <spdlog/spdlog.h>
#include <sstream>
#include <sys/eventfd.h>
#include <unistd.h>
#include <unordered_map>

namespace kivolo::server {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

namespace {

// What is committed meanwhile goes together. Nobody notices that.
constexpr milliseconds betweenSendings{3};
constexpr milliseconds betweenTests{2'000};
constexpr milliseconds heardWithin{3'000};
constexpr seconds betweenLooksForSafety{5};
constexpr milliseconds untilAnotherLine{200};

constexpr std::size_t payloadBytes = 7'900; // PostgreSQL takes less than 8,000
// Beyond that the others look for themselves.
constexpr std::size_t mostUntold = 100'000;

constexpr std::int64_t somebodyElse = -1; // than whoever has sent the latest beam

/// As few notifications as hold all of them; one without any for none.
std::string notificationOf(const std::vector<Change> &changes)
{
    std::string sql;
    std::string payload;
    const auto finish = [&] { sql += "NOTIFY kivolo, '" + std::exchange(payload, {}) + "';"; };
    for (const Change &change : changes) {
        const std::string one = std::to_string(change.circle) + ' ' +
                                std::to_string(change.sender) + ' ' + std::to_string(change.tick) +
                                ' ';
        if (payload.size() + one.size() > payloadBytes)
            finish();
        payload += one;
    }
    finish();
    return sql;
}

void tellAll(const std::string &payload, const Ledger::Observer &observer)
{
    std::istringstream numbers(payload);
    for (Change change; numbers >> change.circle >> change.sender >> change.tick;)
        observer.tell(change);
}

} // namespace

PostgresWakeups::Inbox::Inbox()
    : wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (wakeUp < 0)
        throw std::runtime_error("there are no descriptors left");
}

PostgresWakeups::Inbox::~Inbox()
{
    ::close(wakeUp);
}

void PostgresWakeups::Inbox::wake() const
{
    ::eventfd_write(wakeUp, 1); // fails only where it is awake anyway
}

// What goes through it may be lost without harm, so its commits need not wait for a disk.
PostgresWakeups::Line::Line(const PostgresAddress &address, milliseconds patience,
                            PostgresWatchdog &watchdog)
    : connection(address, patience, watchdog)
{
    const PostgresWatchdog::Limit limit(watchdog, connection.socket(),
                                        steady_clock::now() + patience);
    connection.guarded([this] { circlesNow.emplace(connection); });
    connection.execute("SET synchronous_commit = off");
}

PostgresWakeups::PostgresWakeups(const PostgresAddress &address, PostgresWatchdog &watchdog,
                                 const LedgerSettings &settings)
    : address_(address)
    , watchdog_(watchdog)
    , patience_(settings.patience)
    , lookInterval_(settings.lookInterval)
    , notify_(settings.notify)
    , thread_([this](const std::stop_token &stop) { work(stop); })
{}

PostgresWakeups::~PostgresWakeups()
{
    thread_.request_stop();
    inbox_->wake();
}

void PostgresWakeups::watch(Ledger::Observer observer)
{
    const std::lock_guard lock(inbox_->mutex);
    inbox_->observer = std::move(observer);
    inbox_->wake();
}

void PostgresWakeups::tell(std::vector<Change> changes)
{
    const std::lock_guard lock(inbox_->mutex);
    if (!notify_ || changes.empty() || inbox_->untold.size() > mostUntold)
        return;
    inbox_->untold.insert(inbox_->untold.end(), changes.begin(), changes.end());
    inbox_->wake();
}

void PostgresWakeups::work(const std::stop_token &stop)
{
    while (!stop.stop_requested()) {
        Time next;
        try {
            next = turn();
        } catch (const LedgerUnavailable &failure) {
            spdlog::debug("what other processes write is not heard just now: {}", failure.what());
            line_.reset();
            next = steady_clock::now() + untilAnotherLine;
        }
        const auto wait = std::chrono::ceil<milliseconds>(next - steady_clock::now()).count();
        pollfd files[] = {{inbox_->wakeUp, POLLIN, 0},
                          {line_ ? line_->connection.socket() : -1, POLLIN, 0}};
        ::poll(files, std::size(files), static_cast<int>(std::max<std::int64_t>(wait, 0)));
        eventfd_t ignored = 0;
        ::eventfd_read(inbox_->wakeUp, &ignored);
    }
}

// Does what there is to do and says when there is more at the latest.
PostgresWakeups::Time PostgresWakeups::turn()
{
    {
        const std::lock_guard lock(inbox_->mutex);
        hears_ = inbox_->observer;
    }
    const bool isNew = !line_;
    if (isNew)
        line_.emplace(address_, patience_, watchdog_);
    const Time now = steady_clock::now();
    const PostgresWatchdog::Limit limit(watchdog_, line_->connection.socket(), now + patience_);
    if (isNew) {
        listen();
        nextLook_ = now;
    }
    send(now);
    look(now);
    hear(); // also what has come with the others' answers
    return std::min(nextSending_, nextLook_);
}

void PostgresWakeups::listen()
{
    if (!notify_)
        return;
    try {
        line_->connection.execute("LISTEN kivolo");
    } catch (const PostgresLost &) {
        throw;
    } catch (const LedgerUnavailable &failure) {
        notify_ = false;
        spdlog::info("the database has no notifications ({}); it is asked several times a second "
                     "for what other processes write",
                     failure.what());
        throw;
    }
}

void PostgresWakeups::send(Time now)
{
    std::vector<Change> changes;
    {
        const std::lock_guard lock(inbox_->mutex);
        const bool test = now >= line_->nextTest;
        if (!notify_ || (inbox_->untold.empty() && !test)) {
            nextSending_ = notify_ ? line_->nextTest : Time::max();
            return;
        }
        if (now < earliestSending_) {
            nextSending_ = earliestSending_;
            return;
        }
        changes = std::exchange(inbox_->untold, {});
    }
    line_->connection.execute(notificationOf(changes));
    line_->nextTest = nextSending_ = now + betweenTests;
    earliestSending_ = now + betweenSendings;
}

void PostgresWakeups::hear()
{
    PGconn *const connection = line_->connection.handle();
    if (PQconsumeInput(connection) == 0)
        throw PostgresLost("the connection for notifications is lost");
    const auto next = [connection] {
        return std::unique_ptr<PGnotify, decltype(&PQfreemem)>(PQnotifies(connection), PQfreemem);
    };
    while (const auto notification = next()) {
        if (notification->be_pid == PQbackendPID(connection))
            line_->heard = steady_clock::now(); // what it says is known here
        else if (hears_.tell)
            tellAll(notification->extra, hears_);
    }
}

// Who waits is known to another thread; what it answers is looked at in a later turn.
void PostgresWakeups::look(Time now)
{
    std::optional<std::vector<Ledger::Waiting>> waiting;
    {
        const std::lock_guard lock(inbox_->mutex);
        waiting = std::exchange(inbox_->waiting, std::nullopt);
    }
    if (waiting && !waiting->empty())
        examine(*waiting);
    if (now < nextLook_)
        return;
    const bool heardLately = now - line_->heard < heardWithin;
    nextLook_ = now + (heardLately ? betweenLooksForSafety : lookInterval_);
    if (!hears_.whatFor || !hears_.wanted())
        return;
    hears_.whatFor([inbox = inbox_](std::vector<Ledger::Waiting> answer) {
        const std::lock_guard lock(inbox->mutex);
        inbox->waiting = std::move(answer);
        inbox->wake();
    });
}

void PostgresWakeups::examine(const std::vector<Ledger::Waiting> &waiting)
{
    std::unordered_map<std::int64_t, Circle> now;
    std::string numbers = "{";
    for (const Ledger::Waiting &one : waiting)
        numbers += (numbers.size() > 1 ? "," : "") + std::to_string(one.circle);
    line_->circlesNow->forEach({numbers + "}"},
                               [&](Circle circle) { now.emplace(circle.number, circle); });
    for (const Ledger::Waiting &seen : waiting) {
        const auto found = now.find(seen.circle);
        if (found == now.end() || found->second.regrouped != seen.regrouped) {
            hears_.tell({seen.circle, 0, 0});
            continue;
        }
        const Circle &circle = found->second;
        if (circle.tick > seen.tick)
            hears_.tell({circle.number, circle.sender, circle.tick});
        if (circle.othersTick > seen.tick)
            hears_.tell({circle.number, somebodyElse, circle.othersTick});
    }
}

} // namespace kivolo::server
