// The ledger on an SQLite file: one connection that writes, some that read.
#pragma once

#include "ledger.h"
#include "sqlite_glance.h"
#include "sqlite_readers.h"
#include "sqlite_watch.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <filesystem>
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
    SqliteLedger(const std::string &path, Clock clock, LedgerSettings settings);
    /// Finishes what waits, the looks first because they may write, then closes the file.
    ~SqliteLedger() override = default;

    LedgerGlance *glance() override { return &glance_; }
    void watch(Observer observer) override;
    void read(Look look, Done done) override { readers_.read(std::move(look), std::move(done)); }
    void write(Job job, std::size_t bytes, Done done) override;

private:
    struct Pending
    {
        Job job;
        std::size_t bytes = 0;
        Done done;
        std::chrono::steady_clock::time_point since; ///< When it began to wait.
        std::exception_ptr failure;
    };

    void writeUntil(std::stop_token stop);
    void lookAround();
    std::deque<Pending> nextBatch(std::stop_token stop);
    std::deque<Pending> takeLate(std::deque<Pending> &batch) const;
    void commit(std::deque<Pending> &batch);
    void measureRoom();
    std::exception_ptr runJobs(std::deque<Pending> &batch, SqliteTransaction &transaction);
    void tell(std::deque<Pending> &batch);

    Clock clock_;
    std::function<std::chrono::steady_clock::time_point()> waitingClock_;
    std::chrono::milliseconds patience_;
    std::chrono::milliseconds watchInterval_;
    std::size_t queueBytes_;
    std::function<void()> beforeCommit_;

    SqliteFile file_;
    std::function<std::int64_t()> freeSpace_;
    SqliteConnection writeConnection_;
    SqliteConnection glanceConnection_;
    SqliteCommits commits_;
    SqliteNews news_;
    SqliteGlance glance_;
    SqliteStatements writeStatements_;
    SqliteWatch watch_;

    std::mutex mutex_;
    std::condition_variable_any wakeUp_;
    std::deque<Pending> queue_;
    std::size_t heldBytes_ = 0; ///< Of the jobs in the queue and of those being written.
    Observer observer_;

    // Of the writer's thread alone.
    Observer hears_;
    bool usable_ = true;
    std::chrono::steady_clock::time_point nextLook_;
    std::jthread writer_;
    SqliteReaders readers_;
};

} // namespace kivolo::server
