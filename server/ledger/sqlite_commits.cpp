#include "sqlite_commits.h"

namespace kivolo::server {

namespace {

constexpr std::uint32_t knownVersion = 3'007'000; // of the index; SQLite has had no other
constexpr std::size_t indexPart = 32 << 10;       // as SQLite maps it
constexpr std::size_t changeCounter = 2;          // the words of a mark that are looked at
constexpr std::size_t isInitialized = 3;

// More than anybody would poll for in between; then everything is looked at afresh.
constexpr std::size_t mostCircles = 16 << 10;

} // namespace

SqliteCommits::SqliteCommits(soci::session &session)
{
    auto *backend = static_cast<soci::sqlite3_session_backend *>(session.get_backend());
    sqlite_api::sqlite3_file *file = nullptr;
    sqlite_api::sqlite3_file_control(backend->conn_, "main", SQLITE_FCNTL_FILE_POINTER, &file);
    if (!file || !file->pMethods || file->pMethods->iVersion < 2 || !file->pMethods->xShmMap)
        return;
    volatile void *index = nullptr;
    constexpr int extend = 0;
    if (file->pMethods->xShmMap(file, 0, indexPart, extend, &index) == SQLITE_OK)
        header_ = static_cast<std::uint32_t *>(const_cast<void *>(index));
}

SqliteCommits::Mark SqliteCommits::copy(std::size_t which) const
{
    Mark mark;
    for (std::size_t i = 0; i < mark.size(); ++i)
        mark[i] = std::atomic_ref(header_[which * mark.size() + i]).load(std::memory_order_acquire);
    return mark;
}

bool SqliteCommits::isLatest(const Mark &mark) const
{
    return header_ && copy(0) == mark;
}

std::optional<SqliteCommits::Mark> SqliteCommits::latest() const
{
    if (!header_)
        return std::nullopt;
    const Mark mark = copy(0);
    const bool valid = mark[0] == knownVersion && (mark[isInitialized] & 0xff) != 0;
    return valid && copy(1) == mark ? std::optional(mark) : std::nullopt;
}

bool SqliteCommits::isNext(const Mark &before, const Mark &after)
{
    return after[changeCounter] == before[changeCounter] + 1;
}

SqliteNews::SqliteNews(const SqliteCommits &commits)
    : commits_(commits)
{}

SqliteNews::Change::Change(SqliteNews &news)
    : news_(news)
    , before_(news.commits_.latest())
{
    news_.changing_ = true;
}

SqliteNews::Change::~Change()
{
    news_.changing_ = false;
}

void SqliteNews::Change::made(const std::vector<std::int64_t> &circles)
{
    const std::optional<SqliteCommits::Mark> after = news_.commits_.latest();
    // Another process was quicker, and nobody knows what it has changed: nor shall the glance.
    if (!before_ || !after || !SqliteCommits::isNext(*before_, *after))
        return;
    const std::lock_guard lock(news_.mutex_);
    Item &item = news_.item_;
    if (!item.to)
        item.from = before_;
    else if (item.to != before_ || item.circles.size() > mostCircles)
        item = {};
    item.to = after;
    item.circles.insert(item.circles.end(), circles.begin(), circles.end());
}

SqliteNews::Item SqliteNews::take()
{
    const std::lock_guard lock(mutex_);
    return std::exchange(item_, {});
}

} // namespace kivolo::server
