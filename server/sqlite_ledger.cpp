#include "sqlite_ledger.h"

#include <algorithm>
#include <spdlog/spdlog.h>

namespace kivolo::server {

namespace {

// A transaction of this many beams takes some milliseconds; more would make the first wait for
// the last.
constexpr std::size_t batchLimit = 128;
// Beyond either the disk has fallen behind by seconds, and a sender is better told so. 64 MiB are
// 32 doodles of the largest kind.
constexpr std::size_t queueLimit = 2'048;
constexpr std::size_t queueBytes = 64 << 20;

// How far the horizon may stay behind the clock while nothing is sent: as far as a poll repeats
// the beams of another process. Each step is a write, so all day long there should not be many.
constexpr Seconds horizonStep = 5;

// A reader waits for another process only while that recovers the log.
constexpr std::chrono::milliseconds readerPatience{250};

} // namespace

// The writing connection is opened first, because it makes the tables that the others' statements
// are prepared against.
SqliteLedger::SqliteLedger(const std::string &path, Clock clock, LedgerSettings settings)
    : clock_(std::move(clock))
    , beforeCommit_(std::move(settings.beforeCommit))
    , writeConnection_(path, settings.patience, prepareSchema)
    , readConnection_(path, readerPatience)
    , readStatements_(readConnection_.session())
    , writeStatements_(writeConnection_.session())
    , horizon_(writeStatements_.horizon())
    , writer_([this](std::stop_token stop) { writeUntil(stop); })
{
    const Seconds behind = horizon_.load() - wholeSeconds(clock_());
    if (behind > horizonStep)
        spdlog::warn("the clock was set back: beams carry one time for the next {} s", behind);
}

SqliteLedger::~SqliteLedger()
{
    writer_.request_stop();
    writer_.join();
}

// A poll only reads; the writer raises the horizon behind its back. That something was asked for is
// noted in raiseAt_, so that a disk that fails is not asked at every poll.
Seconds SqliteLedger::horizon()
{
    const Seconds now = wholeSeconds(clock_());
    if (now >= raiseAt_.load()) {
        raiseAt_ = now + horizonStep;
        raiseHorizon();
    }
    return horizon_.load();
}

// Every transaction raises it, so one that does nothing else is enough.
void SqliteLedger::raiseHorizon()
{
    write([](LedgerTransaction &, Seconds) {}, 0,
          [this](const std::exception_ptr &failure) {
              if (failure)
                  spdlog::warn("the horizon stays at {}", horizon_.load());
              else
                  raiseAt_ = horizon_.load() + horizonStep;
          });
}

void SqliteLedger::write(Job job, std::size_t bytes, Done done)
{
    {
        const std::lock_guard lock(mutex_);
        if (queue_.size() < queueLimit && heldBytes_ + bytes <= queueBytes) {
            queue_.push_back({std::move(job), bytes, std::move(done), nullptr});
            heldBytes_ += bytes;
            wakeUp_.notify_one();
            return;
        }
    }
    done(std::make_exception_ptr(LedgerUnavailable("too many writes are waiting")));
}

void SqliteLedger::writeUntil(std::stop_token stop)
{
    for (;;) {
        std::deque<Pending> batch = nextBatch(stop);
        if (batch.empty())
            return;
        commit(batch);
        tell(batch);
    }
}

// What goes wrong in telling one, for want of memory, must not keep the others from being told.
void SqliteLedger::tell(std::deque<Pending> &batch)
{
    for (Pending &pending : batch) {
        try {
            pending.done(pending.failure);
        } catch (const std::exception &error) {
            spdlog::error("a write's outcome could not be told: {}", error.what());
        }
        const std::lock_guard lock(mutex_);
        heldBytes_ -= pending.bytes;
    }
}

std::deque<SqliteLedger::Pending> SqliteLedger::nextBatch(std::stop_token stop)
{
    std::unique_lock lock(mutex_);
    wakeUp_.wait(lock, stop, [this] { return !queue_.empty(); });
    const auto end =
        queue_.begin() + static_cast<std::ptrdiff_t>(std::min(queue_.size(), batchLimit));
    std::deque<Pending> batch(std::make_move_iterator(queue_.begin()),
                              std::make_move_iterator(end));
    queue_.erase(queue_.begin(), end);
    return batch;
}

// A transaction that fails as a whole is taken apart, so that one job's trouble is not its
// neighbours'.
void SqliteLedger::commit(std::deque<Pending> &batch)
{
    try {
        runJobs(batch);
    } catch (...) {
        const std::exception_ptr failure = std::current_exception();
        try {
            writeConnection_.session() << "ROLLBACK";
        } catch (const soci::soci_error &) {
            // SQLite has rolled back by itself, as it does when the disk is full.
        }
        if (batch.size() == 1) {
            batch.front().failure = failure;
            return;
        }
        for (Pending &pending : batch) {
            std::deque<Pending> alone;
            alone.push_back({pending.job, 0, {}, nullptr});
            commit(alone);
            pending.failure = alone.front().failure;
        }
    }
}

void SqliteLedger::runJobs(std::deque<Pending> &batch)
{
    guarded([&] { writeConnection_.session() << "BEGIN IMMEDIATE"; });
    // From here on nobody else writes, so nobody else can have told a later horizon than this row.
    const Seconds told = writeStatements_.horizon();
    const Seconds now = std::max(wholeSeconds(clock_()), told);
    if (now > told)
        writeStatements_.setHorizon(now);
    for (Pending &pending : batch) {
        pending.failure = nullptr;
        guarded([&] { writeConnection_.session() << "SAVEPOINT job"; });
        try {
            pending.job(writeStatements_, now);
        } catch (const Refusal &) {
            pending.failure = std::current_exception();
            guarded([&] { writeConnection_.session() << "ROLLBACK TO job"; });
        }
        guarded([&] { writeConnection_.session() << "RELEASE job"; });
    }
    if (beforeCommit_)
        beforeCommit_();
    guarded([&] { writeConnection_.session() << "COMMIT"; });
    horizon_ = now;
    // Until it is beyond this second, polls repeat the beams that were just stamped with it.
    raiseAt_ = now + 1;
}

std::unique_ptr<Ledger> openLedger(std::string_view database, Clock clock, LedgerSettings settings)
{
    constexpr std::string_view scheme = "sqlite:";
    if (!database.starts_with(scheme) || database.size() == scheme.size())
        throw std::runtime_error("the database has to be given as sqlite:PATH");
    const std::string path(database.substr(scheme.size()));
    try {
        return std::make_unique<SqliteLedger>(path, std::move(clock), std::move(settings));
    } catch (const std::exception &error) {
        throw std::runtime_error("the database " + path + " cannot be used: " + error.what());
    }
}

} // namespace kivolo::server
