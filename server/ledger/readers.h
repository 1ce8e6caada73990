// The threads that read a database, each with a connection of its own.
#pragma once

#include "ledger.h"
#include "records/refusal.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <stop_token>
#include <thread>
#include <vector>

namespace kivolo::server {

/// One connection that looks are taken on. Belongs to one thread.
class Reader
{
public:
    virtual ~Reader() = default;

    /// Makes the connection ready for the next look and waits for that, if need be. False where
    /// there is none; it is to be asked again after a while.
    virtual bool ready() { return true; }

    /// Thrown by take() where the connection was lost; another one may take the look.
    struct Lost
    {
        LedgerUnavailable why;
    };
    /// Throws what the look throws, in time: what is to be told `until` then waits no longer.
    virtual void take(const Ledger::Look &look, std::chrono::steady_clock::time_point until) = 0;
};

/// Reads in the order in which they were asked for, a few at a time; one of the threads is kept for
/// what is small, so that long histories don't keep polls waiting. What has waited for as long as
/// the patience fails unread. Callable from any thread.
class Readers
{
public:
    using WaitingClock = std::function<std::chrono::steady_clock::time_point()>;

    /// What one reader reads that is kept for what is small, within some milliseconds.
    static constexpr std::int64_t smallBytes = 1 << 20;

    /// The first is kept for what is small: its looks throw TooMuchHere at what is not.
    Readers(std::vector<std::unique_ptr<Reader>> readers, WaitingClock clock,
            std::chrono::milliseconds patience);
    /// Finishes the looks that have begun; the others are dropped, and their outcome is never told.
    ~Readers();

    void read(Ledger::Look look, Ledger::Done done);

    /// Has those fail whose time is over, though no reader is free to do so.
    void dropLate();

private:
    struct Pending
    {
        Ledger::Look look;
        Ledger::Done done;
        std::chrono::steady_clock::time_point since; ///< When it began to wait.
    };

    void readUntil(std::stop_token stop, Reader &reader, bool onlySmallLooks);
    static bool awaitReady(const std::stop_token &stop, Reader &reader);
    std::optional<Pending> next(std::stop_token stop, bool onlySmallLooks);
    void putBack(Pending pending, std::deque<Pending> &where);
    bool isLate(const Pending &pending) const;
    static void tell(const Pending &pending, const std::exception_ptr &failure);

    void take(const Pending &pending, Reader &reader) const;

    WaitingClock clock_;
    std::chrono::milliseconds patience_;
    std::mutex mutex_;
    std::condition_variable_any wakeUp_;
    std::deque<Pending> queue_;
    std::deque<Pending> large_; ///< Those that turned out to be, which came before the others.
    std::vector<std::unique_ptr<Reader>> readers_;
    std::vector<std::jthread> threads_;
};

} // namespace kivolo::server
