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
class SqliteLedger final : public Ledger
{
public:
    SqliteLedger(const std::string &path, Clock clock, std::function<void()> beforeCommit);
    /// Finishes the jobs that wait, then closes the file.
    ~SqliteLedger() override;

    LedgerView &view() override { return readStatements_; }
    Seconds horizon() override;
    void write(Job job, Done done) override;

private:
    struct Pending
    {
        Job job;
        Done done;
        std::exception_ptr failure;
    };

    void writeUntil(std::stop_token stop);
    std::deque<Pending> nextBatch(std::stop_token stop);
    void commit(std::deque<Pending> &batch);
    void runJobs(std::deque<Pending> &batch);
    void raiseHorizon(Seconds second);

    Clock clock_;
    std::function<void()> beforeCommit_;

    SqliteConnection writeConnection_;
    SqliteConnection readConnection_;
    SqliteConnection probeConnection_;
    SqliteStatements readStatements_;
    SqliteStatements writeStatements_;

    std::atomic<Seconds> horizon_{0};

    std::mutex mutex_;
    std::condition_variable_any wakeUp_;
    std::deque<Pending> queue_;
    std::jthread writer_;
};

} // namespace kivolo::server
