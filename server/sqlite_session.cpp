#include "sqlite_session.h"

namespace kivolo::server {

SqliteConnection::SqliteConnection(const std::string &path, std::chrono::milliseconds patience,
                                   void (*prepare)(soci::session &))
{
    // The name goes into SOCI's connection string, which has no way to spell a quote.
    if (path.find('"') != std::string::npos)
        throw std::runtime_error("its path contains a quotation mark");
    // Every connection has one thread at a time, so SQLite need not lock it at each call. Can only
    // be set before the first connection of the process, and is only a saving.
    sqlite_api::sqlite3_config(SQLITE_CONFIG_MULTITHREAD);
    guarded([&] {
        session_.open(soci::sqlite3, "db=\"" + path + "\"");
        session_ << "PRAGMA busy_timeout = " << patience.count();
        std::string mode;
        session_ << "PRAGMA journal_mode = WAL", soci::into(mode);
        if (mode != "wal")
            throw std::runtime_error("its file system does not support a write-ahead log");
        session_ << "PRAGMA synchronous = FULL";  // what was acknowledged outlives a power cut
        session_ << "PRAGMA cache_size = -65536"; // KiB
        session_ << "PRAGMA journal_size_limit = 67108864";
        if (prepare)
            prepare(session_);
    });
}

} // namespace kivolo::server
