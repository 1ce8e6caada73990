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
// Enough that a history of the largest kind does not keep everyone else waiting. Each holds its
// result in memory until it is handed on, so not many.
constexpr std::size_t readerCount = 3;

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
    return all / 8 / readerCount;
}

// Of the intervals in which the commits of others are looked for: a second.
constexpr int intervalsBetweenLooks = 20;

// A glance waits for nobody. Another process locks readers out only while it recovers the log.
constexpr std::chrono::milliseconds glancePatience{0};
// A reader waits for it, and for nothing else.
constexpr std::chrono::milliseconds recoveryPatience{250};

/// In bytes. Without a bound where the file system does not tell.
std::int64_t freeSpaceBeside(const std::filesystem::path &file)
{
    struct statvfs status = {};
    if (::statvfs(file.c_str(), &status) != 0 || status.f_blocks == 0)
        return std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(status.f_bavail * status.f_frsize);
}

class SqliteReader final : public Reader
{
public:
    SqliteReader(SqliteFile &file, std::size_t cacheBytes)
        : connection_(file, recoveryPatience, cacheBytes)
        , statements_(connection_)
    {}
    SqliteStatements &statements() { return statements_; }
    void take(const Ledger::Look &look, std::chrono::steady_clock::time_point) override
    {
        look(statements_);
    }

private:
    SqliteConnection connection_;
    SqliteStatements statements_;
};

/// All files are opened before a thread is started, so that a failure leaves nothing behind.
std::vector<std::unique_ptr<Reader>> makeReaders(SqliteFile &file, std::size_t cacheBytes)
{
    std::vector<std::unique_ptr<Reader>> readers;
    for (std::size_t i = 0; i < readerCount; ++i) {
        auto reader = std::make_unique<SqliteReader>(file, cacheBytes);
        if (i == 0)
            reader->statements().readNoMoreThan(Readers::smallBytes);
        readers.push_back(std::move(reader));
    }
    return readers;
}

} // namespace

// The writing connection is opened first, because it makes the tables that the others' statements
// are prepared against.
SqliteLedger::SqliteLedger(const std::string &path, Clock clock, LedgerSettings settings)
    : clock_(std::move(clock))
    , watchInterval_(settings.watchInterval)
    , beforeCommit_(std::move(settings.beforeCommit))
    , file_(path)
    , freeSpace_(settings.freeSpace ? std::move(settings.freeSpace)
                                    : [this] { return freeSpaceBeside(file_.path()); })
    , writeConnection_(file_, settings.patience, writeCache(settings.cacheBytes),
                       [&](SqliteConnection &connection) {
                           bringUpToDate(connection, settings.trialMigrations);
                       })
    , glanceConnection_(file_, glancePatience, glanceCache(settings.cacheBytes))
    , commits_(glanceConnection_.session())
    , news_(commits_)
    , glance_(glanceConnection_, commits_, news_, glanceMemory(settings.cacheBytes))
    , writeStatements_(writeConnection_)
    , watch_(writeConnection_)
    , queue_(settings.queueBytes, settings.waitingClock, settings.patience)
    , readers_(makeReaders(file_, readCache(settings.cacheBytes)), settings.waitingClock,
               settings.patience)
{
    writeConnection_.setLogPages(settings.logPages);
    file_.keep();
    writer_ = std::jthread([this](std::stop_token stop) { writeUntil(stop); });
}

void SqliteLedger::watch(Observer observer)
{
    const std::lock_guard lock(mutex_);
    observer_ = std::move(observer);
}

void SqliteLedger::writeUntil(std::stop_token stop)
{
    for (;;) {
        Batch batch = queue_.next(stop, batchLimit, watchInterval_);
        if (batch.empty() && stop.stop_requested())
            return;
        lookAround();
        queue_.dropLate(batch);
        commit(batch);
        queue_.tell(batch);
    }
}

// Between transactions: is the file still there, and has another process committed something?
void SqliteLedger::lookAround()
{
    if (!hears_.tell) {
        const std::lock_guard lock(mutex_);
        hears_ = observer_;
    }
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

// What fails of itself is taken apart, so that one job's trouble is not its neighbours'. What
// cannot be begun fails as a whole: the next attempt would only wait once more.
void SqliteLedger::commit(Batch &batch)
{
    if (batch.empty())
        return;
    std::exception_ptr failure;
    try {
        writeConnection_.setPatience(queue_.rest(batch.front()));
        file_.look();
        SqliteTransaction transaction(writeConnection_);
        failure = runJobs(batch, transaction);
        file_.look(); // what was written may have gone with the file
        file_.requireUsable();
    } catch (const LedgerUnavailable &) {
        for (WriteQueue::Pending &pending : batch)
            pending.failure = std::current_exception();
        return;
    }
    if (!failure)
        return;
    for (WriteQueue::Pending &pending : batch) {
        pending.failure = failure;
        if (batch.size() == 1)
            return;
        Batch alone;
        alone.push_back({pending.job, {}, {}, pending.since});
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
std::exception_ptr SqliteLedger::runJobs(Batch &batch, SqliteTransaction &transaction)
{
    try {
        SqliteNews::Change change(news_);
        if (hears_.tell)
            watch_.tellOthers(hears_);
        const Seconds now = wholeSeconds(clock_());
        measureRoom();
        for (WriteQueue::Pending &pending : batch) {
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

} // namespace kivolo::server
