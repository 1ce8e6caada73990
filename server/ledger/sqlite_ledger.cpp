#include "sqlite_ledger.h"

#include <algorithm>
#include <limits>
#include <spdlog/spdlog.h>
#include <sys/statvfs.h>

namespace kivolo::server {

using std::chrono::steady_clock;

namespace {

// A transaction of this many beams takes some milliseconds; more would make the first wait for
// the last.
constexpr std::size_t batchLimit = 128;
// Beyond that the disk has fallen behind by seconds, and a sender is better told so.
constexpr std::size_t queueLimit = 2'048;

// Polls that find nothing live from what glances remember; the readers' large ones go through.
constexpr std::size_t glanceMemory(std::size_t all)
{
    return all / 16 * 9;
}
constexpr std::size_t glanceCache(std::size_t all)
{
    return all / 16;
}
constexpr std::size_t writeCache(std::size_t all)
{
    return all / 4;
}
constexpr std::size_t readCache(std::size_t all)
{
    return all / 8 / SqliteReaders::count;
}

// A glance waits for nobody. Another process locks readers out only while it recovers the log.
constexpr std::chrono::milliseconds glancePatience{0};

/// In bytes. Without a bound where the file system does not tell.
std::int64_t freeSpaceBeside(const std::filesystem::path &file)
{
    struct statvfs status = {};
    if (::statvfs(file.c_str(), &status) != 0 || status.f_blocks == 0)
        return std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(status.f_bavail * status.f_frsize);
}

} // namespace

// The writing connection is opened first, because it makes the tables that the others' statements
// are prepared against.
SqliteLedger::SqliteLedger(const std::string &path, Clock clock, LedgerSettings settings)
    : clock_(std::move(clock))
    , patience_(settings.patience)
    , queueBytes_(settings.queueBytes)
    , beforeCommit_(std::move(settings.beforeCommit))
    , path_(path)
    , freeSpace_(settings.freeSpace ? std::move(settings.freeSpace)
                                    : [this] { return freeSpaceBeside(path_); })
    , writeConnection_(path, settings.patience, writeCache(settings.cacheBytes), prepareSchema)
    , glanceConnection_(path, glancePatience, glanceCache(settings.cacheBytes))
    , commits_(glanceConnection_.session())
    , news_(commits_)
    , glance_(glanceConnection_.session(), commits_, news_, glanceMemory(settings.cacheBytes))
    , writeStatements_(writeConnection_.session())
    , writer_([this](std::stop_token stop) { writeUntil(stop); })
    , readers_(path, readCache(settings.cacheBytes))
{}

void SqliteLedger::write(Job job, std::size_t bytes, Done done)
{
    {
        const std::lock_guard lock(mutex_);
        if (queue_.size() < queueLimit && heldBytes_ + bytes <= queueBytes_) {
            queue_.push_back(
                {std::move(job), bytes, std::move(done), steady_clock::now(), nullptr});
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
        std::deque<Pending> late = takeLate(batch);
        tell(late);
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

// Whoever asked for them has been told by then that it did not work, or is about to give up.
std::deque<SqliteLedger::Pending> SqliteLedger::takeLate(std::deque<Pending> &batch) const
{
    std::deque<Pending> late;
    const steady_clock::time_point oldest = steady_clock::now() - patience_;
    while (!batch.empty() && batch.front().since <= oldest) {
        late.push_back(std::move(batch.front()));
        late.back().failure = std::make_exception_ptr(LedgerUnavailable("it waited for too long"));
        batch.pop_front();
    }
    return late;
}

// What fails of itself is taken apart, so that one job's trouble is not its neighbours'. What
// cannot be begun fails as a whole: the next attempt would only wait once more.
void SqliteLedger::commit(std::deque<Pending> &batch)
{
    if (batch.empty())
        return;
    std::exception_ptr failure;
    try {
        const auto waited = steady_clock::now() - batch.front().since;
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(patience_ - waited);
        writeConnection_.setPatience(std::max(rest, std::chrono::milliseconds(0)));
        writeConnection_.requireSameFile();
        SqliteTransaction transaction(writeConnection_.session());
        failure = runJobs(batch, transaction);
    } catch (const LedgerUnavailable &) {
        for (Pending &pending : batch)
            pending.failure = std::current_exception();
        return;
    }
    if (!failure)
        return;
    for (Pending &pending : batch) {
        pending.failure = failure;
        if (batch.size() == 1)
            return;
        std::deque<Pending> alone;
        alone.push_back({pending.job, 0, {}, pending.since, nullptr});
        commit(alone);
        pending.failure = alone.front().failure;
    }
}

void SqliteLedger::measureRoom()
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path_, error);
    writeStatements_.measureRoom(freeSpace_(), error ? 0 : static_cast<std::int64_t>(size));
}

// Gives back what kept all of them from being committed.
std::exception_ptr SqliteLedger::runJobs(std::deque<Pending> &batch, SqliteTransaction &transaction)
{
    try {
        SqliteNews::Change change(news_);
        const Seconds now = wholeSeconds(clock_());
        measureRoom();
        for (Pending &pending : batch) {
            pending.failure = nullptr;
            SqliteSavepoint part(writeConnection_.session());
            try {
                pending.job(writeStatements_, now);
                part.keep();
            } catch (const Refusal &) {
                pending.failure = std::current_exception();
            }
        }
        if (beforeCommit_)
            beforeCommit_();
        transaction.commit();
        change.made(writeStatements_.takeChanged());
        return nullptr;
    } catch (...) {
        return std::current_exception();
    }
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
