// A connection to SQLite through SOCI, and the safe ways to run a statement and to change
// something.
#pragma once

#include "records/refusal.h"

// Brings its own sqlite3.h inside a namespace; including that header before it breaks the build.
#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace kivolo::server {

/// Turns SOCI's failures into ours. Only the message is kept: what() also quotes bound values,
/// and those are secrets.
template<typename Action>
auto guarded(Action &&action) -> decltype(action())
{
    try {
        return action();
    } catch (const soci::soci_error &error) {
        throw LedgerUnavailable(error.get_error_message());
    }
}

/// Runs a statement to its end and calls `row` for each row in its bound variables. It is reset on
/// every way out, exceptions included: one that is left in the middle keeps its read transaction,
/// and with it an old state of the database, for every later statement of the connection.
template<typename Row>
void forEachRow(soci::statement &statement, Row &&row)
{
    struct Reset
    {
        ~Reset() { sqlite_api::sqlite3_reset(backend.stmt_); }
        soci::sqlite3_statement_backend &backend;
    };
    const Reset reset{static_cast<soci::sqlite3_statement_backend &>(*statement.get_backend())};
    guarded([&] {
        for (bool more = statement.execute(true); more; more = statement.fetch())
            row();
    });
}

/// For statements that give at most one row. Whether there was one.
inline bool runOnce(soci::statement &statement)
{
    bool found = false;
    forEachRow(statement, [&] { found = true; });
    return found;
}

/// An open file, with the settings that every connection needs. One thread at a time.
class SqliteConnection
{
public:
    /// `patience` is how long a statement waits for another process's lock, `cacheBytes` what it
    /// keeps of the file's pages. `prepare` is
    /// called before the file is used. Throws std::runtime_error or LedgerUnavailable.
    SqliteConnection(const std::string &path, std::chrono::milliseconds patience,
                     std::size_t cacheBytes, void (*prepare)(soci::session &) = nullptr);
    soci::session &session() { return session_; }

    /// Throws LedgerUnavailable where the file that was opened is no longer the one of that name:
    /// it was deleted or replaced, and what is written to it is lost.
    void requireSameFile() const;

    /// From now on, for whatever waits for a lock.
    void setPatience(std::chrono::milliseconds patience);

private:
    /// What tells one file from another, whatever its name.
    using Identity = std::pair<std::uint64_t, std::uint64_t>;
    static std::optional<Identity> identityOf(const std::string &path);

    std::string path_;
    soci::session session_;
    std::optional<Identity> identity_;
};

/// A change of the database that no other writer runs beside. What is not committed is undone when
/// it is destroyed. Throws LedgerUnavailable.
class SqliteTransaction
{
public:
    explicit SqliteTransaction(soci::session &session);
    SqliteTransaction(const SqliteTransaction &) = delete;
    SqliteTransaction &operator=(const SqliteTransaction &) = delete;
    ~SqliteTransaction();
    /// On disk when it returns.
    void commit();

private:
    soci::session &session_;
    bool open_ = true;
};

/// A part of a transaction that can be undone alone, and is unless it was kept. Not nested.
class SqliteSavepoint
{
public:
    explicit SqliteSavepoint(soci::session &session);
    SqliteSavepoint(const SqliteSavepoint &) = delete;
    SqliteSavepoint &operator=(const SqliteSavepoint &) = delete;
    ~SqliteSavepoint();
    void keep();

private:
    soci::session &session_;
    bool open_ = true;
};

} // namespace kivolo::server
