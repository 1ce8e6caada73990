#include "sqlite_readers.h"

#include <spdlog/spdlog.h>

namespace kivolo::server {

namespace {

// A reader waits for another process only while that recovers the log.
constexpr std::chrono::milliseconds patience{250};

} // namespace

SqliteReaders::Reader::Reader(SqliteFile &file, std::size_t cacheBytes)
    : connection(file, patience, cacheBytes)
    , statements(connection)
{}

// All files are opened before a thread is started, so that a failure leaves nothing behind.
SqliteReaders::SqliteReaders(SqliteFile &file, std::size_t cacheBytes)
{
    for (int i = 0; i < count; ++i)
        readers_.emplace_back(file, cacheBytes);
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
    queue_.push_back({std::move(look), std::move(done)});
    wakeUp_.notify_one();
}

// What goes wrong in telling one, for want of memory, must not keep the others from being told.
void SqliteReaders::readUntil(std::stop_token stop, Reader &reader)
{
    while (std::optional<Pending> pending = next(stop)) {
        std::exception_ptr failure;
        try {
            pending->look(reader.statements);
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

std::optional<SqliteReaders::Pending> SqliteReaders::next(std::stop_token stop)
{
    std::unique_lock lock(mutex_);
    wakeUp_.wait(lock, stop, [this] { return !queue_.empty(); });
    // Nobody waits for them any more, and forty long histories would keep the program for a minute.
    if (stop.stop_requested())
        return std::nullopt;
    Pending pending = std::move(queue_.front());
    queue_.pop_front();
    return pending;
}

} // namespace kivolo::server
