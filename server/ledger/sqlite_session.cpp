#include "sqlite_session.h"

#include "sqlite_schema.h"

namespace kivolo::server {

SqliteConnection::SqliteConnection(SqliteFile &file, std::chrono::milliseconds patience,
                                   std::size_t cacheBytes,
                                   const std::function<void(SqliteConnection &)> &prepare)
    : file_(file)
{
    // The name goes into SOCI's connection string, which has no way to spell a quote.
    if (file.path().find('"') != std::string::npos)
        throw std::runtime_error("its path contains a quotation mark");
    // Every connection has one thread at a time, so SQLite need not lock it at each call; and what
    // a savepoint has to remember is a few pages, for which it would take 64 KiB each time. Both
    // can only be set before the first connection of the process, and are only savings.
    sqlite_api::sqlite3_config(SQLITE_CONFIG_MULTITHREAD);
    sqlite_api::sqlite3_config(SQLITE_CONFIG_STMTJRNL_SPILL, -1);
    file.guarded([&] {
        session_.open(soci::sqlite3, "db=\"" + file.path() + "\"");
        setPatience(patience);
        // Before anything else is set: another program's database stays as it is.
        if (!isOurs(session_))
            throw std::runtime_error("it is a database of another program");
        if (hasMoved())
            throw std::runtime_error("another was put in its place meanwhile; please try again");
        session_ << "PRAGMA auto_vacuum = INCREMENTAL"; // changes new files alone
        std::string mode;
        session_ << "PRAGMA journal_mode = WAL", soci::into(mode);
        if (mode != "wal")
            throw std::runtime_error("its file system does not support a write-ahead log");
        session_ << "PRAGMA synchronous = FULL"; // what was acknowledged outlives a power cut
        session_ << "PRAGMA cache_size = -" << cacheBytes / 1024; // KiB
        session_ << "PRAGMA journal_size_limit = 67108864";
    });
    if (prepare)
        prepare(*this);
}

sqlite_api::sqlite3 *SqliteConnection::handle()
{
    return static_cast<soci::sqlite3_session_backend *>(session_.get_backend())->conn_;
}

// While a restore had it locked, as a rule.
bool SqliteConnection::hasMoved()
{
    int moved = 0;
    sqlite_api::sqlite3_file_control(handle(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
    return moved != 0;
}

void SqliteConnection::setPatience(std::chrono::milliseconds patience)
{
    sqlite_api::sqlite3_busy_timeout(handle(), static_cast<int>(patience.count()));
}

void SqliteConnection::setLogPages(int pages)
{
    sqlite_api::sqlite3_wal_autocheckpoint(handle(), pages);
}

bool SqliteConnection::shrink(int pages)
{
    int kind = 0;
    int unused = 0;
    file_.guarded([&] {
        session_ << "PRAGMA auto_vacuum", soci::into(kind);
        session_ << "PRAGMA freelist_count", soci::into(unused);
    });
    constexpr int incremental = 2;
    if (kind != incremental || unused == 0)
        return false;
    // It moves a page at each step.
    const std::string command = "PRAGMA incremental_vacuum(" + std::to_string(pages) + ")";
    if (sqlite_api::sqlite3_exec(handle(), command.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        throw LedgerUnavailable(sqlite_api::sqlite3_errmsg(handle()));
    return unused > pages;
}

void SqliteConnection::interrupt()
{
    sqlite_api::sqlite3_interrupt(handle());
}

std::int64_t SqliteConnection::changes()
{
    return sqlite_api::sqlite3_total_changes(handle());
}

bool SqliteConnection::takes(soci::statement &statement, std::size_t parameters,
                             std::size_t columns)
{
    sqlite_api::sqlite3_stmt *const prepared = backendOf(statement).stmt_;
    const auto same = [](int count, std::size_t wanted) {
        return static_cast<std::size_t>(count) == wanted;
    };
    return same(sqlite_api::sqlite3_bind_parameter_count(prepared), parameters) &&
           same(sqlite_api::sqlite3_column_count(prepared), columns);
}

SqliteTransaction::SqliteTransaction(SqliteConnection &connection)
    : connection_(connection)
{
    connection_.file().guarded([&] { connection_.session() << "BEGIN IMMEDIATE"; });
}

SqliteTransaction::~SqliteTransaction()
{
    if (!open_)
        return;
    try {
        connection_.session() << "ROLLBACK";
    } catch (const soci::soci_error &) {
        // SQLite has rolled back by itself, as it does when the disk is full.
    }
}

void SqliteTransaction::commit()
{
    connection_.file().guarded([&] { connection_.session() << "COMMIT"; });
    open_ = false;
}

} // namespace kivolo::server
