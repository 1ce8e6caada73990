#include "sqlite_upkeep.h"

#include "sqlite_identity.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <optional>
#include <sqlite3.h>
#include <system_error>
#include <unistd.h>

namespace kivolo::server {

namespace {

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
    /// One that fails from then on when it is stopped. The token outlives it.
    void obey(const std::stop_token &stop)
    {
        constexpr int steps = 10'000; // a fraction of a millisecond
        sqlite3_progress_handler(handle_.get(), steps, &stopped,
                                 const_cast<std::stop_token *>(&stop));
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
    std::int64_t number(const std::string &sql) { return std::stoll("0" + text(sql)); }
    /// Throws where one of SQLite's checks finds something.
    void requireSound(const std::string &check)
    {
        std::string found = text("PRAGMA " + check + "(1)");
        std::ranges::replace(found, '\n', ' ');
        if (found != "ok")
            throw std::runtime_error("it is damaged (" + found + ")");
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

Sqlite openForReading(const std::string &path)
{
    return {uriForReading(path), SQLITE_OPEN_READONLY};
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

void requirePlaceFor(const std::filesystem::path &path)
{
    const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
    if (::access(folder.c_str(), W_OK | X_OK) != 0)
        throw std::runtime_error("nothing can be written into its folder: " +
                                 std::generic_category().message(errno));
}

void requireThere(const std::string &path)
{
    if (!std::filesystem::exists(path))
        throw std::runtime_error("there is none");
}

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

void requireUnused(const std::string &path)
{
    const Reserved reserved(path);
}

// So what is sent from now on has a tick that no program has been told. Of what is damaged too much
// to say only the clock is known.
Tick behindAllTold(const std::string &replaced, Seconds now)
{
    Tick told = 0;
    try {
        told = openForReading(replaced).number("SELECT max(tick) FROM circle");
    } catch (const std::exception &) {
    }
    return std::max(now + ticksAhead, told + 1);
}

// So one rename replaces the database. What is damaged may keep its log.
void emptyLogOf(const std::string &path)
{
    try {
        Sqlite(uriOf(path), SQLITE_OPEN_READWRITE).text("PRAGMA wal_checkpoint(TRUNCATE)");
    } catch (const std::exception &) {
    }
}

/// Gives the database a second name; at no moment is there none.
std::string setAside(const std::string &path, Seconds now)
{
    std::string kept = path + ".before-restore-" + std::to_string(now);
    std::filesystem::create_hard_link(path, kept);
    if (std::filesystem::exists(path + "-wal"))
        std::filesystem::rename(path + "-wal", kept + "-wal");
    std::filesystem::remove(path + "-shm");
    flushFolderOf(path);
    return kept;
}

} // namespace

std::string uriOf(const std::string &path)
{
    std::string uri = "file:";
    for (const char character : path) {
        constexpr std::string_view special = "%?#\"";
        constexpr std::string_view digits = "0123456789abcdef";
        const auto byte = static_cast<unsigned char>(character);
        if (special.find(character) == std::string_view::npos)
            uri += character;
        else
            (uri += '%').append({digits[byte >> 4], digits[byte & 0xf]});
    }
    return uri;
}

std::string uriForReading(const std::string &path)
{
    const bool logged = std::filesystem::exists(path + "-wal");
    return uriOf(path) + (logged ? "?mode=ro" : "?mode=ro&immutable=1");
}

void checkFile(const std::string &path)
{
    requirePlaceFor(path);
    if (!std::filesystem::exists(path))
        return;
    if (::access(path.c_str(), R_OK | W_OK) != 0)
        throw std::runtime_error(std::generic_category().message(errno));
    Sqlite file = openForReading(path);
    requireOurs(file);
    file.requireSound("quick_check");
}

void requireWhole(const std::string &path, const std::stop_token &stop)
{
    requireThere(path);
    Sqlite file = openForReading(path);
    file.obey(stop);
    requireOurs(file);
    if (file.number("SELECT count(*) FROM sqlite_master") == 0)
        throw std::runtime_error("there is nothing in it");
    file.requireSound("integrity_check");
    if (!file.text("PRAGMA foreign_key_check").empty())
        throw std::runtime_error("it is damaged (something is in no circle)");
}

void copyFile(const std::string &path, const Draft &to, const std::stop_token &stop)
{
    requireThere(path);
    Sqlite file = openForReading(path);
    file.obey(stop);
    requireOurs(file);
    std::string quoted;
    for (const char character : to.path())
        quoted.append(character == '\'' ? 2 : 1, character);
    if (file.number("PRAGMA auto_vacuum") == 0)
        file.text("PRAGMA auto_vacuum = INCREMENTAL"); // of the copy
    file.text("VACUUM INTO '" + quoted + "'");
}

std::string replaceFile(const std::string &path, const std::string &by, Seconds now)
{
    Draft draft(path + ".restored");
    copyFile(by, draft);
    const std::string tick = std::to_string(behindAllTold(path, now));
    {
        Sqlite file(uriOf(draft.path()), SQLITE_OPEN_READWRITE);
        file.text("PRAGMA journal_mode = OFF");
        file.text("UPDATE circle SET tick = max(tick, " + tick + ")");
    }
    if (!std::filesystem::exists(path)) {
        draft.nameIt(path);
        return {};
    }
    requireUnused(path);
    emptyLogOf(path);
    // Behind everything that opens it: closing it anywhere in this process would unlock it.
    const Reserved reserved(path);
    std::string kept = setAside(path, now);
    draft.putInPlaceOf(path);
    return kept;
}

} // namespace kivolo::server
