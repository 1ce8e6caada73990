// The jobs that wait to be written.
#pragma once

#include "ledger.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <stop_token>

namespace kivolo::server {

/// In the order in which they were asked for, bounded in number and in what they hold of members'
/// data. Callable from any thread.
class WriteQueue
{
public:
    using WaitingClock = std::function<std::chrono::steady_clock::time_point()>;

    struct Pending
    {
        Ledger::Job job;
        Ledger::JobFacts facts;
        Ledger::Done done;
        std::chrono::steady_clock::time_point since; ///< When it began to wait.
        std::exception_ptr failure = nullptr;
    };
    using Batch = std::deque<Pending>;

    WriteQueue(std::size_t bytes, WaitingClock clock, std::chrono::milliseconds patience);

    /// Tells LedgerUnavailable at once where it is full.
    void add(Ledger::Job job, Ledger::JobFacts facts, Ledger::Done done);

    /// The first of them, as many as that, as soon as there are any; none after that time or when a
    /// stop is requested and nothing is left.
    Batch next(const std::stop_token &stop, std::size_t most, std::chrono::milliseconds atMost);
    /// They go before all others.
    void putBack(Batch batch);

    /// Tells those in the batch that have waited too long, and takes them out: whoever asked for
    /// them has been told by then that it did not work, or is about to give up.
    void dropLate(Batch &batch);
    /// The same for those that wait, though nobody is free to write.
    void dropLate();

    /// When what began to wait then has to be told.
    std::chrono::steady_clock::time_point end(const Pending &pending) const
    {
        return pending.since + patience_;
    }
    /// How long that one can still wait, 0 at least.
    std::chrono::milliseconds rest(const Pending &pending) const;

    /// Tells each what came of it.
    void tell(Batch &batch);

private:
    WaitingClock clock_;
    std::chrono::milliseconds patience_;
    std::size_t mostBytes_;
    std::mutex mutex_;
    std::condition_variable_any wakeUp_;
    Batch queue_;
    std::size_t heldBytes_ = 0; ///< Of the jobs in the queue and of those being written.
};

} // namespace kivolo::server
