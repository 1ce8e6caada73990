#include "postgres_upkeep.h"

#include "postgres_schema.h"
#include "sole_use.h"
#include "sqlite_schema.h"
#include "sqlite_upkeep.h"

#include <optional>
#include <sys/socket.h>

namespace kivolo::server {

namespace {

constexpr std::chrono::seconds patience(5);
// One that takes longer for a few rows was stopped, or its machine is gone.
constexpr std::chrono::minutes patienceWithRows(1);

// A snapshot that is older than the lock would not show what another process has just put there.
void beginReading(PostgresConnection &connection)
{
    connection.execute("SET idle_in_transaction_session_timeout = 0");
    connection.execute("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
    connection.execute("LOCK TABLE schema_version, circle, member, beam IN ACCESS SHARE MODE");
    requireThisVersion(connection.session());
}

/// A failure leaves a file that is of no use, and nothing else.
void beginMaking(soci::session &file, const std::string &path)
{
    file.open(soci::sqlite3, "db=\"" + uriOf(path) + "\"");
    file << "PRAGMA journal_mode = OFF";
    file << "PRAGMA synchronous = OFF";
    file << "PRAGMA auto_vacuum = INCREMENTAL";
    file << "BEGIN";
    createTablesOfFile(file);
}

/// Moves the tables into a schema of their own.
std::string setAside(soci::session &session, Seconds now)
{
    std::string kept;
    session << "SELECT format('%I', current_schema() || '_before_restore_" + std::to_string(now) +
                   "')",
        soci::into(kept);
    session << "CREATE SCHEMA " + kept;
    // Which stays where it is, because it is locked.
    session << "CREATE TABLE " + kept + ".schema_version AS TABLE schema_version";
    for (const char *part :
         {"TABLE beam", "TABLE member", "TABLE circle", "SEQUENCE circle_number"})
        session << "ALTER " + std::string(part) + " SET SCHEMA " + kept;
    createTablesOfPostgres(session);
    return "the schema " + kept;
}

} // namespace

void copyPostgres(const PostgresAddress &address, const Draft &to, const std::stop_token &stop)
{
    PostgresWatchdog watchdog;
    PostgresConnection connection(address, patience, watchdog);
    const std::stop_callback hangUp(stop, [&] { ::shutdown(connection.socket(), SHUT_RDWR); });
    std::optional<PostgresWatchdog::Limit> limit;
    const auto step = [&] {
        limit.reset();
        limit.emplace(watchdog, connection.socket(),
                      std::chrono::steady_clock::now() + patienceWithRows);
        if (stop.stop_requested())
            throw std::runtime_error("it was stopped");
    };
    withoutQuotes([&] {
        step();
        beginReading(connection);
        soci::session file;
        beginMaking(file, to.path());
        carryAll({connection.session(), false}, {file, true}, 0, step);
        file << "COMMIT";
    });
}

std::string replacePostgres(const std::string &database, const std::string &by, Seconds now)
{
    const std::unique_ptr<SoleUse> use = SoleUse::of(database);
    std::string kept;
    withoutQuotes([&] {
        const Side there = use->side();
        const Tick told = there.number("SELECT coalesce(max(tick), 0) FROM circle");
        if (told > 0)
            kept = setAside(there.session, now);
        soci::session file(soci::sqlite3, "db=\"" + uriForReading(by) + "\" readonly=true");
        file << "BEGIN";
        carryAll({file, true}, there, std::max(now + ticksAhead, told + 1));
        use->commit();
    });
    return kept;
}

} // namespace kivolo::server
