// Which commit of an SQLite file is the latest, seen without asking SQLite.
#pragma once

#include "sqlite_session.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

namespace kivolo::server {

/// The header of the write-ahead log's index, in the memory that all processes with that file share
/// (https://sqlite.org/walformat.html). A commit changes it when it is on disk and before it
/// returns, whichever process makes it; so what one header was true for is true as long as that
/// header stands. Callable from any thread.
class SqliteCommits
{
public:
    /// Names one committed state of the file.
    using Mark = std::array<std::uint32_t, 12>;

    /// The connection, which has read the file before, has to outlive this.
    explicit SqliteCommits(soci::session &session);

    /// Whether nothing has been committed since the mark was the latest.
    bool isLatest(const Mark &mark) const;
    /// Nothing where a commit is just under way, or where this file has no such header.
    std::optional<Mark> latest() const;
    /// Whether nothing but one commit lies between them.
    static bool isNext(const Mark &before, const Mark &after);

private:
    Mark copy(std::size_t which) const;

    std::uint32_t *header_ = nullptr; ///< SQLite's; two copies, of which the first is written last.
};

/// What the writer has changed and the glance does not know yet. Two threads.
class SqliteNews
{
public:
    explicit SqliteNews(const SqliteCommits &commits);

    /// A transaction of the writer's thread, from when it has the lock until it has released it.
    class Change
    {
    public:
        explicit Change(SqliteNews &news);
        Change(const Change &) = delete;
        Change &operator=(const Change &) = delete;
        ~Change();
        /// It has been committed, and has changed these circles.
        void made(const std::vector<std::int64_t> &circles);

    private:
        SqliteNews &news_;
        std::optional<SqliteCommits::Mark> before_;
    };

    /// From one mark to another, or, without the one, from who knows where.
    struct Item
    {
        std::optional<SqliteCommits::Mark> from, to;
        std::vector<std::int64_t> circles; ///< Their numbers. All that was changed in between.
    };

    /// Whether there is a commit that may not have been told yet. To be asked before take().
    bool changing() const { return changing_; }
    Item take();

private:
    const SqliteCommits &commits_;
    std::atomic<bool> changing_ = false;
    std::mutex mutex_;
    Item item_;
};

} // namespace kivolo::server
