// The ledger on an SQLite file: one connection that reads, one that writes.
#pragma once

#include "ledger.h"
#include "sqlite_statements.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

namespace kivolo::server {

/// Several of these, in one process or in many, may serve the same file.
///
/// Writes go through one thread, which puts all jobs that wait into one transaction, so that many
/// senders share one wait for the disk. Reads never wait for it (write-ahead log).
///
/// The horizon is a row of the database. Every transaction stamps with that second or later and
/// raises it to the second it stamped with; only what is on disk is told. So of any two
/// transactions, in whatever processes and by whatever clocks, the later one's beams lie at or
/// beyond each horizon that the earlier one let be told.
class SqliteLedger final : public Ledger
{
public:
    SqliteLedger(const std::string &path, Clock clock, LedgerSettings settings);
    /// Finishes the jobs that wait, then closes the file.
    ~SqliteLedger() override;

    LedgerView &view() override { return readStatements_; }
    Seconds horizon() override;
    void write(Job job, std::size_t bytes, Done done) override;

private:
    struct Pending
    {
        Job job;
        std::size_t bytes = 0;
        Done done;
        std::exception_ptr failure;
    };

    void writeUntil(std::stop_token stop);
    std::deque<Pending> nextBatch(std::stop_token stop);
    void commit(std::deque<Pending> &batch);
    void tell(std::deque<Pending> &batch);
    void runJobs(std::deque<Pending> &batch);
    void raiseHorizon();

    Clock clock_;
    std::function<void()> beforeCommit_;

    SqliteConnection writeConnection_;
    SqliteConnection readConnection_;
    SqliteStatements readStatements_;
    SqliteStatements writeStatements_;

    std::atomic<Seconds> horizon_;
    std::atomic<Seconds> raiseAt_{0}; ///< By the clock: when horizon() asks for a newer one.

    std::mutex mutex_;
    std::condition_variable_any wakeUp_;
    std::deque<Pending> queue_;
    std::size_t heldBytes_ = 0; ///< Of the jobs in the queue and of those being written.
    std::jthread writer_;
};

} // namespace kivolo::server
