// A connection to SQLite through SOCI, and the one safe way to run a prepared statement on it.
#pragma once

#include "refusal.h"

// Brings its own sqlite3.h inside a namespace; including that header before it breaks the build.
#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include <chrono>
#include <string>

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

/// Runs a statement to its end and calls `row` for each row in its bound variables. A statement
/// that is left before its end keeps its read transaction, and with it an old state of the
/// database, for every later statement of the connection; so it is always drained.
template<typename Row>
void forEachRow(soci::statement &statement, Row &&row)
{
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
    /// `patience` is how long a statement waits for another process's lock. `prepare` is
    /// called before the file is used. Throws std::runtime_error or LedgerUnavailable.
    SqliteConnection(const std::string &path, std::chrono::milliseconds patience,
                     void (*prepare)(soci::session &) = nullptr);
    soci::session &session() { return session_; }

private:
    soci::session session_;
};

} // namespace kivolo::server
