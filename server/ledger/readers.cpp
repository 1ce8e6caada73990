#include "readers.h"

#include "pause.h"

#include <spdlog/spdlog.h>

namespace kivolo::server {

namespace {

constexpr std::chrono::milliseconds pauseUntilReady{100};

std::exception_ptr tooLate()
{
    return std::make_exception_ptr(LedgerUnavailable("a read has waited for too long"));
}

} // namespace

Readers::Readers(std::vector<std::unique_ptr<Reader>> readers, WaitingClock clock,
                 std::chrono::milliseconds patience)
    : clock_(std::move(clock))
    , patience_(patience)
    , readers_(std::move(readers))
{
    for (const std::unique_ptr<Reader> &reader : readers_)
        threads_.emplace_back([this, &reader = *reader,
                               onlySmall = reader == readers_.front()](std::stop_token stop) {
            readUntil(std::move(stop), reader, onlySmall);
        });
}

Readers::~Readers()
{
    for (std::jthread &thread : threads_)
        thread.request_stop();
    threads_.clear();
}

void Readers::read(Ledger::Look look, Ledger::Done done)
{
    const std::lock_guard lock(mutex_);
    queue_.push_back({std::move(look), std::move(done), clock_()});
    wakeUp_.notify_one(); // any of them: for a large one all were woken when it was put back
}

// What goes wrong in telling one, for want of memory, must not keep the others from being told.
void Readers::tell(const Pending &pending, const std::exception_ptr &failure)
{
    try {
        pending.done(failure);
    } catch (const std::exception &error) {
        spdlog::error("a read's outcome could not be told: {}", error.what());
    }
}

void Readers::readUntil(std::stop_token stop, Reader &reader, bool onlySmallLooks)
{
    while (awaitReady(stop, reader)) {
        std::optional<Pending> pending = next(stop, onlySmallLooks);
        if (!pending)
            return;
        std::exception_ptr failure;
        try {
            take(*pending, reader);
        } catch (const TooMuchHere &) {
            putBack(std::move(*pending), large_);
            continue;
        } catch (const Reader::Lost &lost) {
            if (!isLate(*pending)) {
                putBack(std::move(*pending), onlySmallLooks ? queue_ : large_);
                continue;
            }
            failure = std::make_exception_ptr(lost.why);
        } catch (...) {
            failure = std::current_exception();
        }
        tell(*pending, failure);
    }
}

bool Readers::awaitReady(const std::stop_token &stop, Reader &reader)
{
    while (!reader.ready()) {
        pause(stop, pauseUntilReady);
        if (stop.stop_requested())
            return false;
    }
    return true;
}

bool Readers::isLate(const Pending &pending) const
{
    return clock_() - pending.since >= patience_;
}

// Whoever asked for it has given up by then, or is about to.
void Readers::take(const Pending &pending, Reader &reader) const
{
    if (isLate(pending))
        std::rethrow_exception(tooLate());
    reader.take(pending.look, pending.since + patience_);
}

void Readers::putBack(Pending pending, std::deque<Pending> &where)
{
    const std::lock_guard lock(mutex_);
    if (&where == &queue_)
        queue_.push_front(std::move(pending));
    else
        large_.push_back(std::move(pending));
    wakeUp_.notify_all();
}

void Readers::dropLate()
{
    std::deque<Pending> late;
    {
        const std::lock_guard lock(mutex_);
        for (std::deque<Pending> *queue : {&queue_, &large_}) {
            while (!queue->empty() && isLate(queue->front())) {
                late.push_back(std::move(queue->front()));
                queue->pop_front();
            }
        }
    }
    for (const Pending &pending : late)
        tell(pending, tooLate());
}

std::optional<Readers::Pending> Readers::next(std::stop_token stop, bool onlySmallLooks)
{
    const auto from = [&]() -> std::deque<Pending> & {
        return onlySmallLooks || large_.empty() ? queue_ : large_;
    };
    std::unique_lock lock(mutex_);
    wakeUp_.wait(lock, stop, [&] { return !from().empty(); });
    // Nobody waits for them any more, and forty long histories would keep the program for a minute.
    if (stop.stop_requested())
        return std::nullopt;
    Pending pending = std::move(from().front());
    from().pop_front();
    return pending;
}

} // namespace kivolo::server
