#include "postgres_ledger.h"

#include "pause.h"

#include <limits>
#include <spdlog/spdlog.h>

namespace kivolo::server {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

// Smaller than for a file: what is together waits for each other's circles.
constexpr std::size_t batchLimit = 64;

// They wait for a network, not for a disk, so there may be more of them.
constexpr std::size_t readerCount = 6;

constexpr int attempts = 10;
// That a transaction gets at least, however long it has been waited for.
constexpr milliseconds leastTime{500};
constexpr milliseconds untilAnotherConnection{200};
constexpr milliseconds betweenRounds{100};
constexpr std::chrono::seconds betweenMeasurements{5};

} // namespace

void PostgresSession::Outage::begin(const std::string &why)
{
    if (!lasts_.exchange(true))
        spdlog::error("the database cannot be reached: {}", why);
}

void PostgresSession::Outage::end()
{
    if (lasts_.exchange(false))
        spdlog::info("the database can be reached again");
}

PostgresSession::PostgresSession(const PostgresAddress &address, milliseconds patience,
                                 PostgresWatchdog &watchdog, Outage &outage)
    : address_(address)
    , patience_(patience)
    , watchdog_(watchdog)
    , outage_(outage)
{}

PostgresSession::Place::Place(const PostgresAddress &address, milliseconds patience,
                              PostgresWatchdog &watchdog)
    : connection(address, patience, watchdog)
{
    const PostgresWatchdog::Limit limit(watchdog, connection.socket(),
                                        steady_clock::now() + patience);
    connection.guarded([this] { statements.emplace(connection); });
}

bool PostgresSession::ready()
{
    if (place_)
        return true;
    try {
        place_.emplace(address_, patience_, watchdog_);
        outage_.end();
        return true;
    } catch (const LedgerUnavailable &failure) {
        outage_.begin(failure.what());
        return false;
    }
}

namespace {

class PostgresReader final : public Reader
{
public:
    PostgresReader(const PostgresAddress &address, milliseconds patience,
                   PostgresSession::Outage &outage, PostgresWatchdog &watchdog,
                   std::int64_t mostBytes)
        : session_(address, patience, watchdog, outage)
        , watchdog_(watchdog)
        , mostBytes_(mostBytes)
    {}
    bool ready() override
    {
        if (!session_.ready())
            return false;
        session_.statements().readNoMoreThan(mostBytes_);
        return true;
    }
    void take(const Ledger::Look &look, steady_clock::time_point until) override
    {
        try {
            const PostgresWatchdog::Limit limit(watchdog_, session_.connection().socket(), until);
            look(session_.statements());
        } catch (const PostgresLost &lost) {
            session_.close();
            throw Lost{lost};
        } catch (const LedgerUnavailable &) {
            session_.close();
            throw;
        }
    }

private:
    PostgresSession session_;
    PostgresWatchdog &watchdog_;
    std::int64_t mostBytes_;
};

} // namespace

PostgresLedger::PostgresLedger(PostgresAddress address, Clock clock, LedgerSettings settings)
    : clock_(std::move(clock))
    , patience_(settings.patience)
    , freeSpace_(std::move(settings.freeSpace))
    , beforeCommit_(std::move(settings.beforeCommit))
    , address_(std::move(address))
    , wakeups_(address_, watchdog_, settings)
    , queue_(settings.queueBytes, settings.waitingClock, patience_)
    , readers_(makeReaders(), settings.waitingClock, patience_)
{
    for (std::size_t i = 0; i < settings.writers; ++i)
        writers_.emplace_back([this](const std::stop_token &stop) { writeUntil(stop); });
    clerk_ = std::jthread([this](const std::stop_token &stop) {
        while (!stop.stop_requested()) {
            pause(stop, betweenRounds);
            readers_.dropLate();
            queue_.dropLate();
        }
    });
}

std::vector<std::unique_ptr<Reader>> PostgresLedger::makeReaders()
{
    std::vector<std::unique_ptr<Reader>> readers;
    for (std::size_t i = 0; i < readerCount; ++i)
        readers.push_back(std::make_unique<PostgresReader>(
            address_, patience_, outage_, watchdog_,
            i == 0 ? Readers::smallBytes : std::numeric_limits<std::int64_t>::max()));
    return readers;
}

void PostgresLedger::writeUntil(const std::stop_token &stop)
{
    PostgresSession session(address_, patience_, watchdog_, outage_);
    for (;;) {
        const bool ready = session.ready();
        if (!ready && !stop.stop_requested()) {
            std::this_thread::sleep_for(untilAnotherConnection);
            continue;
        }
        Batch batch = queue_.next(stop, batchLimit, std::chrono::hours(1));
        if (batch.empty() && stop.stop_requested())
            return;
        queue_.dropLate(batch);
        if (ready) {
            write(session, std::move(batch));
            continue;
        }
        for (WriteQueue::Pending &pending : batch)
            pending.failure = std::make_exception_ptr(LedgerUnavailable("it cannot be reached"));
        queue_.tell(batch);
    }
}

// What fails of itself is taken apart, so that one job's trouble is not its neighbours'. What was
// lost with its connection before it was committed is done on another one, if there is time.
void PostgresLedger::write(PostgresSession &session, Batch batch)
{
    std::optional<Trouble> trouble;
    for (int i = 0; i < attempts && !batch.empty(); ++i) {
        trouble = session.ready() ? attempt(session, batch) : Trouble{Trouble::Lost, nullptr};
        if (!trouble || trouble->kind == Trouble::Unknown)
            break;
        if (trouble->kind == Trouble::Lost)
            return queue_.putBack(std::move(batch));
        if (batch.size() > 1)
            return writeOneByOne(session, std::move(batch));
        if (trouble->kind == Trouble::Failure)
            break;
        queue_.dropLate(batch);
    }
    for (WriteQueue::Pending &pending : batch) {
        if (trouble && !pending.failure)
            pending.failure = trouble->what;
    }
    queue_.tell(batch);
}

void PostgresLedger::writeOneByOne(PostgresSession &session, Batch batch)
{
    for (WriteQueue::Pending &pending : batch) {
        Batch alone;
        alone.push_back(std::move(pending));
        write(session, std::move(alone));
    }
}

// A connection on which something has failed is given up, whatever it was.
std::optional<PostgresLedger::Trouble> PostgresLedger::attempt(PostgresSession &session,
                                                               Batch &batch)
{
    bool committing = false;
    try {
        runJobs(session, batch, committing);
        return std::nullopt;
    } catch (const PostgresConflict &) {
        session.close();
        return Trouble{Trouble::Conflict, std::current_exception()};
    } catch (const LedgerUnavailable &failure) {
        session.close();
        if (committing)
            return Trouble{Trouble::Unknown, std::make_exception_ptr(LedgerUnsure(failure.what()))};
        const bool lost = dynamic_cast<const PostgresLost *>(&failure);
        return Trouble{lost ? Trouble::Lost : Trouble::Failure, std::current_exception()};
    } catch (...) {
        return Trouble{Trouble::Failure, std::current_exception()};
    }
}

void PostgresLedger::runJobs(PostgresSession &session, Batch &batch, bool &committing)
{
    PostgresConnection &connection = session.connection();
    PostgresStatements &statements = session.statements();
    const auto rest = std::max(queue_.rest(batch.front()), leastTime);
    const PostgresWatchdog::Limit limit(watchdog_, connection.socket(), steady_clock::now() + rest);
    const Room room = measureRoom(session);
    PostgresTransaction transaction(connection);
    PostgresStatements::Facts facts;
    for (WriteQueue::Pending &pending : batch)
        facts.push_back(&pending.facts);
    statements.begin(facts, room);
    const Seconds now = wholeSeconds(clock_());
    for (WriteQueue::Pending &pending : batch) {
        pending.failure = nullptr;
        const std::int64_t before = connection.changes();
        try {
            pending.job(statements, now);
        } catch (const Refusal &) {
            // One that has changed something has to be undone, and that by itself.
            if (connection.changes() != before)
                throw;
            pending.failure = std::current_exception();
        }
    }
    if (beforeCommit_)
        beforeCommit_();
    committing = true;
    transaction.commit();
    used_ += statements.room().used - room.used;
    wakeups_.tell(statements.takeChanges());
}

// What its disk has left the database does not tell.
Room PostgresLedger::measureRoom(PostgresSession &session)
{
    steady_clock::time_point due = nextMeasurement_;
    const steady_clock::time_point now = steady_clock::now();
    if (now >= due && nextMeasurement_.compare_exchange_strong(due, now + betweenMeasurements)) {
        try {
            used_ = session.statements().size();
        } catch (const PostgresLost &) {
            throw;
        } catch (const LedgerUnavailable &failure) {
            nextMeasurement_ = steady_clock::time_point::max();
            spdlog::warn("how large the database is cannot be seen: {}", failure.what());
            throw PostgresConflict(failure.what()); // once more, without
        }
    }
    return {used_, freeSpace_ ? freeSpace_() : std::numeric_limits<std::int64_t>::max()};
}

} // namespace kivolo::server
