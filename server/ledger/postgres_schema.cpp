#include "postgres_schema.h"

namespace kivolo::server {

namespace {

// A beam's key is its circle and its tick: nothing is numbered across circles but circles. Only
// capsules are ever looked for by their ids.
const Schema schema{
    .first = 1,
    .tables = {
        "CREATE SEQUENCE circle_number",
        "CREATE TABLE circle ("
        " number BIGINT PRIMARY KEY, code TEXT NOT NULL UNIQUE, max_seats BIGINT NOT NULL,"
        " tick BIGINT NOT NULL, sender BIGINT NOT NULL DEFAULT 0,"
        " others_tick BIGINT NOT NULL DEFAULT 0, bytes BIGINT NOT NULL DEFAULT 0,"
        " busy_until BIGINT NOT NULL DEFAULT 0, founder TEXT NOT NULL,"
        " founder_key TEXT NOT NULL, owner_email TEXT NOT NULL, created_at BIGINT NOT NULL,"
        " regrouped BIGINT NOT NULL DEFAULT 0)",
        "CREATE TABLE member ("
        " circle BIGINT NOT NULL REFERENCES circle (number), number BIGINT NOT NULL,"
        " key TEXT NOT NULL UNIQUE, id TEXT NOT NULL, device_id TEXT NOT NULL UNIQUE,"
        " handle TEXT NOT NULL, emoji TEXT NOT NULL, joined_at BIGINT NOT NULL,"
        " seen BIGINT NOT NULL, PRIMARY KEY (circle, number))",
        "CREATE TABLE beam ("
        " circle BIGINT NOT NULL, tick BIGINT NOT NULL, id TEXT NOT NULL,"
        " created_at BIGINT NOT NULL, sender BIGINT NOT NULL, bytes BIGINT NOT NULL,"
        " open_at BIGINT, type TEXT NOT NULL, effect TEXT, from_member TEXT NOT NULL,"
        " from_handle TEXT NOT NULL, from_emoji TEXT NOT NULL, body TEXT NOT NULL,"
        " PRIMARY KEY (circle, tick))",
        "CREATE UNIQUE INDEX beam_of_capsule ON beam (id) WHERE open_at IS NOT NULL",
    }};

// Of several processes that start on a new database one creates the tables; the others fail, and
// find them at their next attempt.
constexpr int attempts = 5;

int lockedVersion(soci::session &session)
{
    int version = 0;
    session << "SELECT version FROM schema_version FOR UPDATE", soci::into(version);
    return version;
}

/// Undoes it all again where it is not to be kept.
void bringUpToDate(PostgresConnection &connection, const Schema &wanted, bool keep)
{
    PostgresTransaction transaction(connection);
    connection.guarded([&] {
        soci::session &session = connection.session();
        int known = 0;
        session << "SELECT count(*) FROM information_schema.tables"
                   " WHERE table_schema = current_schema() AND table_name = 'schema_version'",
            soci::into(known);
        if (known == 0) {
            session << "CREATE TABLE schema_version (version INTEGER NOT NULL)";
            session << "INSERT INTO schema_version (version) VALUES (0)";
        }
        const int version = lockedVersion(session);
        if (version == wanted.version())
            return;
        wanted.bringUpToDate(session, version);
        session << "UPDATE schema_version SET version = " << wanted.version();
    });
    if (keep)
        transaction.commit();
}

} // namespace

void prepareSchema(const PostgresAddress &address, std::chrono::milliseconds patience,
                   const std::vector<Schema::Steps> &trialMigrations)
{
    Schema wanted = schema;
    wanted.migrations.insert(wanted.migrations.end(), trialMigrations.begin(),
                             trialMigrations.end());
    PostgresWatchdog watchdog;
    for (int attempt = 1;; ++attempt) {
        PostgresConnection connection(address, patience, watchdog);
        try {
            return bringUpToDate(connection, wanted, true);
        } catch (const LedgerUnavailable &) {
            if (attempt == attempts)
                throw;
        }
    }
}

void createTablesOfPostgres(soci::session &session)
{
    schema.bringUpToDate(session, 0);
}

void keepOthersFromStarting(soci::session &session)
{
    lockedVersion(session);
}

void requireThisVersion(soci::session &session)
{
    int version = 0;
    session << "SELECT version FROM schema_version", soci::into(version);
    if (version != schema.version())
        throw std::runtime_error("its tables are those of another version");
}

void checkSchema(const PostgresAddress &address)
{
    PostgresWatchdog watchdog;
    PostgresConnection connection(address, std::chrono::seconds(5), watchdog);
    bringUpToDate(connection, schema, false);
}

} // namespace kivolo::server
