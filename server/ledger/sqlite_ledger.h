// The ledger on an SQLite file: one connection that writes, some that read.
#pragma once

#include "ledger.h"
#include "readers.h"
#include "sqlite_glance.h"
#include "sqlite_statements.h"
#include "sqlite_watch.h"
#include "write_queue.h"

#include <chrono>
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
    void write(Job job, JobFacts facts, Done done) override
    {
        queue_.add(std::move(job), std::move(facts), std::move(done));
    }

private:
    using Batch = WriteQueue::Batch;

    void writeUntil(std::stop_token stop);
    void lookAround();
    void commit(Batch &batch);
    void measureRoom();
    std::exception_ptr runJobs(Batch &batch, SqliteTransaction &transaction);

    Clock clock_;
    std::chrono::milliseconds watchInterval_;
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

    WriteQueue queue_;
    std::mutex mutex_;
    Observer observer_;

    // Of the writer's thread alone.
    Observer hears_;
    bool usable_ = true;
    std::chrono::steady_clock::time_point nextLook_;
    std::jthread writer_;
    Readers readers_;
};

} // namespace kivolo::server
