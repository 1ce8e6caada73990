#include "sqlite_session.h"

#include <sys/stat.h>

namespace kivolo::server {

SqliteConnection::SqliteConnection(const std::string &path, std::chrono::milliseconds patience,
                                   std::size_t cacheBytes, void (*prepare)(soci::session &))
    : path_(path)
{
    // The name goes into SOCI's connection string, which has no way to spell a quote.
    if (path.find('"') != std::string::npos)
        throw std::runtime_error("its path contains a quotation mark");
    // Every connection has one thread at a time, so SQLite need not lock it at each call; and what
    // a savepoint has to remember is a few pages, for which it would take 64 KiB each time. Both
    // can only be set before the first connection of the process, and are only savings.
    sqlite_api::sqlite3_config(SQLITE_CONFIG_MULTITHREAD);
    sqlite_api::sqlite3_config(SQLITE_CONFIG_STMTJRNL_SPILL, -1);
    guarded([&] {
        session_.open(soci::sqlite3, "db=\"" + path + "\"");
        session_ << "PRAGMA busy_timeout = " << patience.count();
        std::string mode;
        session_ << "PRAGMA journal_mode = WAL", soci::into(mode);
        if (mode != "wal")
            throw std::runtime_error("its file system does not support a write-ahead log");
        session_ << "PRAGMA synchronous = FULL"; // what was acknowledged outlives a power cut
        session_ << "PRAGMA cache_size = -" << cacheBytes / 1024; // KiB
        session_ << "PRAGMA journal_size_limit = 67108864";
        if (prepare)
            prepare(session_);
    });
    identity_ = identityOf(path_);
}

std::optional<SqliteConnection::Identity> SqliteConnection::identityOf(const std::string &path)
{
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return Identity{status.st_dev, status.st_ino};
}

void SqliteConnection::requireSameFile() const
{
    if (identityOf(path_) != identity_)
        throw LedgerUnavailable("its file was deleted or replaced; restart the server");
}

void SqliteConnection::setPatience(std::chrono::milliseconds patience)
{
    auto *backend = static_cast<soci::sqlite3_session_backend *>(session_.get_backend());
    sqlite_api::sqlite3_busy_timeout(backend->conn_, static_cast<int>(patience.count()));
}

SqliteTransaction::SqliteTransaction(soci::session &session)
    : session_(session)
{
    guarded([&] { session_ << "BEGIN IMMEDIATE"; });
}

SqliteTransaction::~SqliteTransaction()
{
    if (!open_)
        return;
    try {
        session_ << "ROLLBACK";
    } catch (const soci::soci_error &) {
        // SQLite has rolled back by itself, as it does when the disk is full.
    }
}

void SqliteTransaction::commit()
{
    guarded([&] { session_ << "COMMIT"; });
    open_ = false;
}

SqliteSavepoint::SqliteSavepoint(soci::session &session)
    : session_(session)
{
    guarded([&] { session_ << "SAVEPOINT part"; });
}

SqliteSavepoint::~SqliteSavepoint()
{
    if (!open_)
        return;
    try {
        session_ << "ROLLBACK TO part";
        session_ << "RELEASE part";
    } catch (const soci::soci_error &) {
        // The whole transaction was rolled back, and its commit will say so.
    }
}

void SqliteSavepoint::keep()
{
    guarded([&] { session_ << "RELEASE part"; });
    open_ = false;
}

} // namespace kivolo::server
