#include "write_queue.h"

#include "records/refusal.h"

#include <algorithm>
#include <spdlog/spdlog.h>

namespace kivolo::server {

namespace {

// Beyond that the disk has fallen behind by seconds, and a sender is better told so.
constexpr std::size_t mostJobs = 2'048;

/// From the front, which has waited for longest.
void takeLate(WriteQueue::Batch &from, WriteQueue::Batch &late,
              std::chrono::steady_clock::time_point oldest)
{
    while (!from.empty() && from.front().since <= oldest) {
        late.push_back(std::move(from.front()));
        late.back().failure = std::make_exception_ptr(LedgerUnavailable("it waited for too long"));
        from.pop_front();
    }
}

} // namespace

WriteQueue::WriteQueue(std::size_t bytes, WaitingClock clock, std::chrono::milliseconds patience)
    : clock_(std::move(clock))
    , patience_(patience)
    , mostBytes_(bytes)
{}

void WriteQueue::add(Ledger::Job job, Ledger::JobFacts facts, Ledger::Done done)
{
    {
        const std::lock_guard lock(mutex_);
        if (queue_.size() < mostJobs && heldBytes_ + facts.bytes <= mostBytes_) {
            heldBytes_ += facts.bytes;
            queue_.push_back({std::move(job), std::move(facts), std::move(done), clock_()});
            wakeUp_.notify_one();
            return;
        }
    }
    done(std::make_exception_ptr(LedgerUnavailable("too many writes are waiting")));
}

WriteQueue::Batch WriteQueue::next(const std::stop_token &stop, std::size_t most,
                                   std::chrono::milliseconds atMost)
{
    std::unique_lock lock(mutex_);
    wakeUp_.wait_for(lock, stop, atMost, [this] { return !queue_.empty(); });
    const auto end = queue_.begin() + static_cast<std::ptrdiff_t>(std::min(queue_.size(), most));
    Batch batch(std::make_move_iterator(queue_.begin()), std::make_move_iterator(end));
    queue_.erase(queue_.begin(), end);
    return batch;
}

void WriteQueue::putBack(Batch batch)
{
    const std::lock_guard lock(mutex_);
    queue_.insert(queue_.begin(), std::make_move_iterator(batch.begin()),
                  std::make_move_iterator(batch.end()));
    wakeUp_.notify_one();
}

void WriteQueue::dropLate(Batch &batch)
{
    Batch late;
    takeLate(batch, late, clock_() - patience_);
    tell(late);
}

void WriteQueue::dropLate()
{
    Batch late;
    {
        const std::lock_guard lock(mutex_);
        takeLate(queue_, late, clock_() - patience_);
    }
    tell(late);
}

std::chrono::milliseconds WriteQueue::rest(const Pending &pending) const
{
    const auto rest =
        std::chrono::ceil<std::chrono::milliseconds>(patience_ - (clock_() - pending.since));
    return std::max(rest, std::chrono::milliseconds(0));
}

// What goes wrong in telling one, for want of memory, must not keep the others from being told.
void WriteQueue::tell(Batch &batch)
{
    for (Pending &pending : batch) {
        try {
            pending.done(pending.failure);
        } catch (const std::exception &error) {
            spdlog::error("a write's outcome could not be told: {}", error.what());
        }
        const std::lock_guard lock(mutex_);
        heldBytes_ -= pending.facts.bytes;
    }
}

} // namespace kivolo::server
