#include "upkeep.h"

#include "postgres_schema.h"
#include "sqlite_identity.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
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
        throw std::runtime_error("the database has to be given as sqlite:PATH");
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
    std::int64_t number(const std::string &sql) { return std::stoll("0" + text(sql)); }

private:
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

void requirePlaceFor(const std::filesystem::path &path)
{
    const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
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
        const std::string damage = file.text("PRAGMA quick_check(1)");
        if (damage != "ok")
            throw std::runtime_error("it is damaged (" + damage + ")");
    });
}

} // namespace kivolo::server
