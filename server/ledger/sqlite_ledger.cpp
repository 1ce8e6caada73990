#include "sqlite_ledger.h"

#include "sqlite_schema.h"

#include <algorithm>
#include <limits>
#include <spdlog/spdlog.h>
#include <sys/statvfs.h>

namespace kivolo::server {

using std::chrono::steady_clock;

namespace {

// A transaction of this many notes takes some fortieth of a second, and writes fewer pages for each
// than smaller ones do; more would make the first wait too long for the last.
constexpr std::size_t batchLimit = 512;
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

// Of the intervals in which the commits of others are looked for: a second.
constexpr int intervalsBetweenLooks = 20;

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
    , waitingClock_(std::move(settings.waitingClock))
    , patience_(settings.patience)
    , watchInterval_(settings.watchInterval)
    , queueBytes_(settings.queueBytes)
    , beforeCommit_(std::move(settings.beforeCommit))
    , file_(path)
    , freeSpace_(settings.freeSpace ? std::move(settings.freeSpace)
                                    : [this] { return freeSpaceBeside(file_.path()); })
    , writeConnection_(file_, settings.patience, writeCache(settings.cacheBytes), prepareSchema)
    , glanceConnection_(file_, glancePatience, glanceCache(settings.cacheBytes))
    , commits_(glanceConnection_.session())
    , news_(commits_)
    , glance_(glanceConnection_, commits_, news_, glanceMemory(settings.cacheBytes))
    , writeStatements_(writeConnection_)
    , watch_(writeConnection_)
    , readers_(file_, readCache(settings.cacheBytes), waitingClock_, patience_)
{
    writeConnection_.setLogPages(settings.logPages);
    file_.keep();
    writer_ = std::jthread([this](std::stop_token stop) { writeUntil(stop); });
}

void SqliteLedger::write(Job job, std::size_t bytes, Done done)
{
    {
        const std::lock_guard lock(mutex_);
        if (queue_.size() < queueLimit && heldBytes_ + bytes <= queueBytes_) {
            queue_.push_back({std::move(job), bytes, std::move(done), waitingClock_(), nullptr});
            heldBytes_ += bytes;
            wakeUp_.notify_one();
            return;
        }
    }
    done(std::make_exception_ptr(LedgerUnavailable("too many writes are waiting")));
}

void SqliteLedger::watch(Observer observer)
{
    const std::lock_guard lock(mutex_);
    observer_ = std::move(observer);
}

void SqliteLedger::writeUntil(std::stop_token stop)
{
    for (;;) {
        std::deque<Pending> batch = nextBatch(stop);
        if (batch.empty() && stop.stop_requested())
            return;
        lookAround();
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

// Between transactions: is the file still there, and has another process committed something?
void SqliteLedger::lookAround()
{
    if (steady_clock::now() >= nextLook_) {
        file_.look();
        nextLook_ = steady_clock::now() + watchInterval_ * intervalsBetweenLooks;
    }
    if (!hears_.tell)
        return;
    const bool usable = file_.usable();
    if (usable_ && !usable)
        hears_.tell({});
    usable_ = usable;
    try {
        if (usable && hears_.wanted())
            watch_.tellOthers(hears_);
    } catch (const LedgerUnavailable &failure) {
        // Those who wait are told at the next attempt, or when their time is over.
        spdlog::warn("what other processes wrote cannot be seen: {}", failure.what());
    }
}

std::deque<SqliteLedger::Pending> SqliteLedger::nextBatch(std::stop_token stop)
{
    std::unique_lock lock(mutex_);
    wakeUp_.wait_for(lock, stop, watchInterval_, [this] { return !queue_.empty(); });
    if (!hears_.tell)
        hears_ = observer_;
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
    const steady_clock::time_point oldest = waitingClock_() - patience_;
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
        const auto waited = waitingClock_() - batch.front().since;
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(patience_ - waited);
        writeConnection_.setPatience(std::max(rest, std::chrono::milliseconds(0)));
        file_.look();
        SqliteTransaction transaction(writeConnection_);
        failure = runJobs(batch, transaction);
        file_.look(); // what was written may have gone with the file
        file_.requireUsable();
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
    const std::uintmax_t size = std::filesystem::file_size(file_.path(), error);
    writeStatements_.measureRoom(freeSpace_(), error ? 0 : static_cast<std::int64_t>(size));
}

// Gives back what kept all of them from being committed.
std::exception_ptr SqliteLedger::runJobs(std::deque<Pending> &batch, SqliteTransaction &transaction)
{
    try {
        SqliteNews::Change change(news_);
        if (hears_.tell)
            watch_.tellOthers(hears_);
        const Seconds now = wholeSeconds(clock_());
        measureRoom();
        for (Pending &pending : batch) {
            pending.failure = nullptr;
            const std::int64_t before = writeConnection_.changes();
            try {
                pending.job(writeStatements_, now);
            } catch (const Refusal &) {
                // One that has changed something has to be undone, and that by itself.
                if (writeConnection_.changes() != before)
                    throw;
                pending.failure = std::current_exception();
            }
        }
        if (beforeCommit_)
            beforeCommit_();
        const sql::Latest latest = watch_.latest();
        transaction.commit();
        change.made(writeStatements_.takeChanged());
        watch_.leaveOut(latest);
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
