// The ledger on PostgreSQL: some connections that write, some that read.
#pragma once

#include "ledger.h"
#include "postgres_session.h"
#include "postgres_statements.h"
#include "postgres_wakeups.h"
#include "readers.h"
#include "write_queue.h"

#include <atomic>
#include <thread>

namespace kivolo::server {

/// Makes connections anew that were lost, on each of the threads that need one.
class PostgresSession
{
public:
    /// Says once to the log that the database cannot be reached, and once that it can again.
    class Outage
    {
    public:
        void begin(const std::string &why);
        void end();

    private:
        std::atomic<bool> lasts_ = false;
    };

    PostgresSession(const PostgresAddress &address, std::chrono::milliseconds patience,
                    PostgresWatchdog &watchdog, Outage &outage);

    /// Connects where that is needed. False where it cannot be done just now.
    bool ready();
    void close() { place_.reset(); }
    PostgresConnection &connection() { return place_->connection; }
    PostgresStatements &statements() { return *place_->statements; }

private:
    struct Place
    {
        Place(const PostgresAddress &address, std::chrono::milliseconds patience,
              PostgresWatchdog &watchdog);
        PostgresConnection connection;
        std::optional<PostgresStatements> statements;
    };

    const PostgresAddress &address_;
    std::chrono::milliseconds patience_;
    PostgresWatchdog &watchdog_;
    Outage &outage_;
    std::optional<Place> place_;
};

/// Several of these, in one process or in many, may serve the same database.
///
/// Jobs that wait are put into transactions together, a few at a time and several of those beside
/// each other. Each locks the circles of its jobs first; so whatever changes a circle does so one
/// after the other, and nothing else has to.
class PostgresLedger final : public Ledger
{
public:
    PostgresLedger(PostgresAddress address, Clock clock, LedgerSettings settings);
    /// Finishes what waits, the looks first because they may write, as far as the database is
    /// there.
    ~PostgresLedger() override = default;

    LedgerGlance *glance() override { return nullptr; }
    void watch(Observer observer) override { wakeups_.watch(std::move(observer)); }
    void read(Look look, Done done) override { readers_.read(std::move(look), std::move(done)); }
    void write(Job job, JobFacts facts, Done done) override
    {
        queue_.add(std::move(job), std::move(facts), std::move(done));
    }

private:
    using Batch = WriteQueue::Batch;
    /// Why a transaction was not committed, or is not known to have been.
    struct Trouble
    {
        enum Kind { Conflict, Lost, Failure, Unknown } kind;
        std::exception_ptr what;
    };

    void writeUntil(const std::stop_token &stop);
    void write(PostgresSession &session, Batch batch);
    void writeOneByOne(PostgresSession &session, Batch batch);
    std::optional<Trouble> attempt(PostgresSession &session, Batch &batch);
    void runJobs(PostgresSession &session, Batch &batch, bool &committing);
    Room measureRoom(PostgresSession &session);
    std::vector<std::unique_ptr<Reader>> makeReaders();

    Clock clock_;
    std::chrono::milliseconds patience_;
    std::function<std::int64_t()> freeSpace_;
    std::function<void()> beforeCommit_;
    const PostgresAddress address_;
    PostgresSession::Outage outage_;

    std::atomic<std::chrono::steady_clock::time_point> nextMeasurement_{};
    std::atomic<std::int64_t> used_ = 0; ///< By the database, as last measured.

    PostgresWatchdog watchdog_;
    PostgresWakeups wakeups_;
    WriteQueue queue_;
    std::vector<std::jthread> writers_;
    Readers readers_;
    std::jthread clerk_; ///< Sees to it that nobody waits for longer than the patience.
};

} // namespace kivolo::server
