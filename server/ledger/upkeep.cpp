#include "upkeep.h"

#include "postgres_schema.h"
#include "sqlite_identity.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <optional>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <system_error>
#include <unistd.h>

namespace kivolo::server {

namespace {

/// The file that is named as sqlite:PATH.
std::string pathOf(std::string_view database)
{
    constexpr std::string_view scheme = "sqlite:";
    if (!database.starts_with(scheme) || database.size() == scheme.size())
        throw std::runtime_error("this is for a database that is given as sqlite:PATH");
    return std::string(database.substr(scheme.size()));
}

std::string asUri(const std::string &path)
{
    std::string uri = "file:";
    for (const char character : path) {
        constexpr std::string_view special = "%?#";
        constexpr std::string_view digits = "0123456789abcdef";
        const auto byte = static_cast<unsigned char>(character);
        if (special.find(character) == std::string_view::npos)
            uri += character;
        else
            (uri += '%').append({digits[byte >> 4], digits[byte & 0xf]});
    }
    return uri;
}

/// A connection that stands for nothing else. Throws std::runtime_error with SQLite's reason.
class Sqlite
{
public:
    Sqlite(const std::string &uri, int flags)
    {
        sqlite3 *handle = nullptr;
        const int opened = sqlite3_open_v2(uri.c_str(), &handle, flags | SQLITE_OPEN_URI, nullptr);
        handle_.reset(handle);
        require(opened);
        sqlite3_busy_timeout(handle, 5'000);
    }
    /// The first column of the first row; 0 and empty where there is none.
    std::string text(const std::string &sql)
    {
        sqlite3_stmt *prepared = nullptr;
        require(sqlite3_prepare_v2(handle_.get(), sql.c_str(), -1, &prepared, nullptr));
        const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> statement(
            prepared, sqlite3_finalize);
        const int step = sqlite3_step(prepared);
        if (step != SQLITE_ROW && step != SQLITE_DONE)
            require(step);
        const auto *found = step == SQLITE_ROW
                                ? reinterpret_cast<const char *>(sqlite3_column_text(prepared, 0))
                                : nullptr;
        return found ? found : "";
    }
    /// Throws where one of SQLite's checks finds something.
    void requireSound(const std::string &check)
    {
        std::string found = text("PRAGMA " + check + "(1)");
        std::ranges::replace(found, '\n', ' ');
        if (found != "ok")
            throw std::runtime_error("it is damaged (" + found + ")");
    }
    std::int64_t number(const std::string &sql) { return std::stoll("0" + text(sql)); }
    /// Copies everything, in one transaction that reads.
    void copyTo(const std::string &path, const std::stop_token &stop)
    {
        constexpr int steps = 10'000; // a fraction of a millisecond
        sqlite3_progress_handler(handle_.get(), steps, &stopped,
                                 const_cast<std::stop_token *>(&stop));
        std::string quoted;
        for (const char character : path)
            quoted.append(character == '\'' ? 2 : 1, character);
        if (number("PRAGMA auto_vacuum") == 0)
            text("PRAGMA auto_vacuum = INCREMENTAL"); // of the copy
        text("VACUUM INTO '" + quoted + "'");
        sqlite3_progress_handler(handle_.get(), 0, nullptr, nullptr);
    }

private:
    static int stopped(void *stop)
    {
        return static_cast<const std::stop_token *>(stop)->stop_requested() ? 1 : 0;
    }
    struct Close
    {
        void operator()(sqlite3 *handle) const { sqlite3_close(handle); }
    };
    void require(int result)
    {
        if (result != SQLITE_OK)
            throw std::runtime_error(handle_ ? sqlite3_errmsg(handle_.get())
                                             : sqlite3_errstr(result));
    }

    std::unique_ptr<sqlite3, Close> handle_;
};

/// Reads the file and changes nothing beside it: one without a log is read as it stands.
Sqlite openForReading(const std::string &path)
{
    const bool logged = std::filesystem::exists(path + "-wal");
    return {asUri(path) + (logged ? "?mode=ro" : "?mode=ro&immutable=1"), SQLITE_OPEN_READONLY};
}

void requireOurs(Sqlite &file)
{
    const std::int64_t version = file.number("PRAGMA user_version");
    const bool empty = file.number("SELECT count(*) FROM sqlite_master") == 0;
    if (!empty && file.number("PRAGMA application_id") != applicationId)
        throw std::runtime_error("it is a database of another program");
    if (version != schemaVersion && !(empty && version == 0))
        throw std::runtime_error("it was made by another version");
}

std::filesystem::path folderOf(const std::filesystem::path &path)
{
    return path.has_parent_path() ? path.parent_path() : ".";
}

void requirePlaceFor(const std::filesystem::path &path)
{
    const std::filesystem::path folder = folderOf(path);
    if (::access(folder.c_str(), W_OK | X_OK) != 0)
        throw std::runtime_error("nothing can be written into its folder: " +
                                 std::generic_category().message(errno));
}

/// Runs what is about the file at that path.
template<typename Action>
void about(const std::string &path, const char *trouble, Action action)
{
    try {
        action();
    } catch (const std::exception &error) {
        throw std::runtime_error("the database " + path + " " + trouble + ": " + error.what());
    }
}

void requireWhole(Sqlite &file)
{
    if (file.number("SELECT count(*) FROM sqlite_master") == 0)
        throw std::runtime_error("there is nothing in it");
    file.requireSound("integrity_check");
    if (!file.text("PRAGMA foreign_key_check").empty())
        throw std::runtime_error("it is damaged (something is in no circle)");
}

/// The file or folder is on disk, whatever happens to the machine.
void flush(const std::filesystem::path &path)
{
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool flushed = descriptor >= 0 && ::fsync(descriptor) == 0;
    const int reason = errno;
    if (descriptor >= 0)
        ::close(descriptor);
    if (!flushed)
        throw std::system_error(reason, std::generic_category(), path.string());
}

/// A file in the making: gone unless it has been given its name.
class Draft
{
public:
    explicit Draft(std::string path)
        : path_(std::move(path))
    {
        std::filesystem::remove(path_);
    }
    Draft(const Draft &) = delete;
    Draft &operator=(const Draft &) = delete;
    ~Draft()
    {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
        std::filesystem::remove(path_ + "-journal", ignored);
    }
    const std::string &path() const { return path_; }
    void nameIt(const std::string &name) const
    {
        flush(path_);
        std::filesystem::rename(path_, name);
        flush(folderOf(name));
    }

private:
    std::string path_;
};

/// Keeps every server away from a database, as long as this is there.
class Reserved
{
public:
    explicit Reserved(const std::string &path)
        : descriptor_(::open(path.c_str(), O_RDWR | O_CLOEXEC))
    {
        // The bytes of its file that SQLite locks: every connection holds one of them.
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        lock.l_start = 0x40000000;
        lock.l_len = 512;
        if (descriptor_ < 0)
            throw std::system_error(errno, std::generic_category());
        if (::fcntl(descriptor_, F_SETLK, &lock) == 0)
            return;
        ::close(descriptor_);
        throw std::runtime_error("a server uses it; that has to be stopped first");
    }
    Reserved(const Reserved &) = delete;
    Reserved &operator=(const Reserved &) = delete;
    ~Reserved() { ::close(descriptor_); }

private:
    int descriptor_;
};

// So what is sent from now on has a tick that no program has been told.
Tick beyondAllTold(const std::string &replaced, Seconds now)
{
    Tick latest = now + ticksAhead;
    try {
        latest = std::max(
            latest, Tick(openForReading(replaced).number("SELECT max(tick) + 1 FROM circle")));
    } catch (const std::exception &) {
        // Gone, or too damaged to say.
    }
    return latest;
}

/// Moves the database out of the way; at no moment is there none.
std::string setAside(const std::string &path, Seconds now)
{
    std::string kept = path + ".before-restore-" + std::to_string(now);
    std::filesystem::create_hard_link(path, kept);
    if (std::filesystem::exists(path + "-wal"))
        std::filesystem::rename(path + "-wal", kept + "-wal");
    std::filesystem::remove(path + "-shm");
    flush(folderOf(path));
    return kept;
}

} // namespace

void checkDatabase(std::string_view database)
{
    if (database.starts_with("postgresql://") || database.starts_with("postgres://")) {
        const PostgresAddress address{std::string(database)};
        return about(address.name(), "cannot be used", [&] { checkSchema(address); });
    }
    const std::string path = pathOf(database);
    about(path, "cannot be used", [&] {
        requirePlaceFor(path);
        if (!std::filesystem::exists(path))
            return;
        if (::access(path.c_str(), R_OK | W_OK) != 0)
            throw std::runtime_error(std::generic_category().message(errno));
        Sqlite file = openForReading(path);
        requireOurs(file);
        file.requireSound("quick_check");
    });
}

void backUpDatabase(std::string_view database, const std::string &to, const std::stop_token &stop)
{
    const std::string path = pathOf(database);
    about(path, "cannot be copied", [&] {
        if (std::filesystem::exists(to))
            throw std::runtime_error("there is a file " + to + " already");
        if (!std::filesystem::exists(path))
            throw std::runtime_error("there is none");
        const Draft draft(to + ".part");
        {
            Sqlite file = openForReading(path);
            requireOurs(file);
            file.copyTo(draft.path(), stop);
        }
        Sqlite copy = openForReading(draft.path());
        requireWhole(copy);
        draft.nameIt(to);
    });
}

std::string restoreDatabase(std::string_view database, const std::string &from, Seconds now)
{
    const std::string path = pathOf(database);
    const Draft draft(path + ".restored");
    about(from, "cannot be restored", [&] {
        if (!std::filesystem::exists(from))
            throw std::runtime_error("there is none");
        Sqlite backup = openForReading(from);
        requireOurs(backup);
        requireWhole(backup);
        backup.copyTo(draft.path(), {});
    });
    std::string kept;
    about(path, "cannot be replaced", [&] {
        const std::string tick = std::to_string(beyondAllTold(path, now));
        // Before it is locked: closing the file anywhere in this process would give that lock up.
        const bool exists = std::filesystem::exists(path);
        std::optional<Reserved> reserved;
        if (exists)
            reserved.emplace(path);
        Sqlite(asUri(draft.path()), SQLITE_OPEN_READWRITE)
            .text("UPDATE circle SET tick = max(tick, " + tick + ")");
        if (exists)
            kept = setAside(path, now);
        draft.nameIt(path);
    });
    return kept;
}

} // namespace kivolo::server
