// A connection to SQLite through SOCI, and the safe ways to run a statement and to change
// something.
#pragma once

#include "sqlite_file.h"

#include <chrono>
#include <functional>

namespace kivolo::server {

/// An open file, with the settings that every connection needs. One thread at a time.
class SqliteConnection
{
public:
    /// `patience` is how long a statement waits for another process's lock, `cacheBytes` how much
    /// of the file is kept in memory at most. `prepare` is
    /// called before the file is used. Throws std::runtime_error or LedgerUnavailable.
    SqliteConnection(SqliteFile &file, std::chrono::milliseconds patience, std::size_t cacheBytes,
                     const std::function<void(SqliteConnection &)> &prepare = {});
    SqliteFile &file() { return file_; }
    soci::session &session() { return session_; }

    /// From now on, for whatever waits for a lock.
    void setPatience(std::chrono::milliseconds patience);

    /// From now on, where it commits with so many pages in the log, they are copied into the file.
    void setLogPages(int pages);

    /// Rows that it has added, changed and removed since it was opened, undone ones included.
    std::int64_t changes();

    /// Gives up to so many pages that are not used back to the file system. Whether there are more.
    /// A file that was made without room for the notes which that takes stays as it is.
    bool shrink(int pages);

    /// Has whatever the connection does at that moment fail. From any thread, while it is open.
    void interrupt();

    /// Whether that statement has so many parameters and columns.
    static bool takes(soci::statement &statement, std::size_t parameters, std::size_t columns);

    /// Runs a statement of this connection to its end and calls `row` for each row in its bound
    /// variables. It is reset on every way out, exceptions included: one that is left in the middle
    /// keeps its read transaction, and with it an old state of the database, for every later
    /// statement of the connection.
    template<typename Row>
    void forEachRow(soci::statement &statement, Row &&row)
    {
        struct Reset
        {
            ~Reset() { sqlite_api::sqlite3_reset(backend.stmt_); }
            soci::sqlite3_statement_backend &backend;
        };
        const Reset reset{backendOf(statement)};
        file_.guarded([&] {
            for (bool more = statement.execute(true); more; more = statement.fetch())
                row();
        });
    }

private:
    bool hasMoved();
    sqlite_api::sqlite3 *handle();
    static soci::sqlite3_statement_backend &backendOf(soci::statement &statement)
    {
        return static_cast<soci::sqlite3_statement_backend &>(*statement.get_backend());
    }

    SqliteFile &file_;
    soci::session session_;
};

/// A change of the database that no other writer runs beside. What is not committed is undone when
/// it is destroyed. Throws LedgerUnavailable.
class SqliteTransaction
{
public:
    explicit SqliteTransaction(SqliteConnection &connection);
    SqliteTransaction(const SqliteTransaction &) = delete;
    SqliteTransaction &operator=(const SqliteTransaction &) = delete;
    ~SqliteTransaction();
    /// On disk when it returns.
    void commit();

private:
    SqliteConnection &connection_;
    bool open_ = true;
};

} // namespace kivolo::server
