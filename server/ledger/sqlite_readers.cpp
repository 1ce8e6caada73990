#include "sqlite_readers.h"

#include <spdlog/spdlog.h>

namespace kivolo::server {

namespace {

// A reader waits for another process only while that recovers the log.
constexpr std::chrono::milliseconds recoveryPatience{250};

// Read within some milliseconds.
constexpr std::int64_t smallBytes = 1 << 20;

} // namespace

SqliteReaders::Reader::Reader(SqliteFile &file, std::size_t cacheBytes, bool onlySmallLooks)
    : forSmallLooks(onlySmallLooks)
    , connection(file, recoveryPatience, cacheBytes)
    , statements(connection)
{
    if (onlySmallLooks)
        statements.readNoMoreThan(smallBytes);
}

// All files are opened before a thread is started, so that a failure leaves nothing behind.
SqliteReaders::SqliteReaders(SqliteFile &file, std::size_t cacheBytes, WaitingClock clock,
                             std::chrono::milliseconds patience)
    : clock_(std::move(clock))
    , patience_(patience)
{
    for (int i = 0; i < count; ++i)
        readers_.emplace_back(file, cacheBytes, i == 0);
    for (Reader &reader : readers_)
        threads_.emplace_back(
            [this, &reader](std::stop_token stop) { readUntil(std::move(stop), reader); });
}

SqliteReaders::~SqliteReaders()
{
    for (std::jthread &thread : threads_)
        thread.request_stop();
    threads_.clear();
}

void SqliteReaders::read(Ledger::Look look, Ledger::Done done)
{
    const std::lock_guard lock(mutex_);
    queue_.push_back({std::move(look), std::move(done), clock_()});
    wakeUp_.notify_all(); // one might take a large one instead
}

// What goes wrong in telling one, for want of memory, must not keep the others from being told.
void SqliteReaders::readUntil(std::stop_token stop, Reader &reader)
{
    while (std::optional<Pending> pending = next(stop, reader)) {
        std::exception_ptr failure;
        try {
            take(*pending, reader);
        } catch (const SqliteStatements::TooMuchHere &) {
            putOff(std::move(*pending));
            continue;
        } catch (...) {
            failure = std::current_exception();
        }
        try {
            pending->done(failure);
        } catch (const std::exception &error) {
            spdlog::error("a read's outcome could not be told: {}", error.what());
        }
    }
}

// Whoever asked for it has given up by then, or is about to.
void SqliteReaders::take(const Pending &pending, Reader &reader) const
{
    if (clock_() - pending.since >= patience_)
        throw LedgerUnavailable("a read has waited for too long");
    pending.look(reader.statements);
}

void SqliteReaders::putOff(Pending pending)
{
    const std::lock_guard lock(mutex_);
    large_.push_back(std::move(pending));
    wakeUp_.notify_all();
}

std::optional<SqliteReaders::Pending> SqliteReaders::next(std::stop_token stop,
                                                          const Reader &reader)
{
    const auto from = [this, &reader]() -> std::deque<Pending> & {
        return reader.forSmallLooks || large_.empty() ? queue_ : large_;
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
