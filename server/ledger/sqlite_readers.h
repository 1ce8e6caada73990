// The threads that read an SQLite file, each with a connection of its own.
#pragma once

#include "sqlite_statements.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <stop_token>
#include <thread>
#include <vector>

namespace kivolo::server {

/// Reads in the order in which they were asked for, a few at a time; one of the threads is kept for
/// what is small, so that long histories don't keep polls waiting. What has waited for as long as
/// the patience fails unread. Callable from any thread.
class SqliteReaders
{
public:
    /// Enough that a history of the largest kind does not keep everyone else waiting. Each holds
    /// its result in memory until it is handed on, so not many.
    static constexpr int count = 3;

    using WaitingClock = std::function<std::chrono::steady_clock::time_point()>;

    /// `cacheBytes` is each one's, for pages.
    SqliteReaders(SqliteFile &file, std::size_t cacheBytes, WaitingClock clock,
                  std::chrono::milliseconds patience);
    /// Finishes the looks that have begun; the others are dropped, and their outcome is never told.
    ~SqliteReaders();

    void read(Ledger::Look look, Ledger::Done done);

private:
    struct Pending
    {
        Ledger::Look look;
        Ledger::Done done;
        std::chrono::steady_clock::time_point since; ///< When it began to wait.
    };
    struct Reader
    {
        Reader(SqliteFile &file, std::size_t cacheBytes, bool onlySmallLooks);
        const bool forSmallLooks;
        SqliteConnection connection;
        SqliteStatements statements;
    };

    void readUntil(std::stop_token stop, Reader &reader);
    std::optional<Pending> next(std::stop_token stop, const Reader &reader);
    void putOff(Pending pending);

    void take(const Pending &pending, Reader &reader) const;

    WaitingClock clock_;
    std::chrono::milliseconds patience_;
    std::mutex mutex_;
    std::condition_variable_any wakeUp_;
    std::deque<Pending> queue_;
    std::deque<Pending> large_; ///< Those that turned out to be, which came before the others.
    std::deque<Reader> readers_;
    std::vector<std::jthread> threads_;
};

} // namespace kivolo::server
