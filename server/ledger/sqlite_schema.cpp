#include "sqlite_schema.h"

#include "pause.h"

#include "sqlite_identity.h"

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <spdlog/spdlog.h>
#include <stop_token>
#include <thread>

namespace kivolo::server {

namespace {

// Bodies stand last: SQLite reads a row from its front and leaves the rest on overflow pages
// untouched. The beams' index carries what a poll needs to know before it reads any of them. Only
// capsules are ever looked for by their ids, which lie anywhere: an index of all of them would cost
// a send a tenth of its time.
const Schema schema{
    .first = schemaVersion,
    .tables = {
        "CREATE TABLE circle ("
        " number INTEGER PRIMARY KEY, code TEXT NOT NULL UNIQUE, max_seats INTEGER NOT NULL,"
        " tick INTEGER NOT NULL, sender INTEGER NOT NULL DEFAULT 0,"
        " others_tick INTEGER NOT NULL DEFAULT 0, bytes INTEGER NOT NULL DEFAULT 0,"
        " busy_until INTEGER NOT NULL DEFAULT 0,"
        " founder TEXT NOT NULL,"
        " founder_key TEXT NOT NULL, owner_email TEXT NOT NULL, created_at INTEGER NOT NULL,"
        " regrouped INTEGER NOT NULL DEFAULT 0)",
        "CREATE INDEX circle_regrouped ON circle (regrouped)",
        "CREATE TABLE member ("
        " number INTEGER PRIMARY KEY AUTOINCREMENT, key TEXT NOT NULL UNIQUE, id TEXT NOT NULL,"
        " circle INTEGER NOT NULL REFERENCES circle (number), device_id TEXT NOT NULL UNIQUE,"
        " handle TEXT NOT NULL, emoji TEXT NOT NULL, joined_at INTEGER NOT NULL,"
        " seen INTEGER NOT NULL DEFAULT (unixepoch()))",
        "CREATE INDEX member_of_circle ON member (circle)",
        "CREATE TABLE beam ("
        " number INTEGER PRIMARY KEY, id TEXT NOT NULL,"
        " circle INTEGER NOT NULL REFERENCES circle (number), tick INTEGER NOT NULL,"
        " created_at INTEGER NOT NULL, sender INTEGER NOT NULL, bytes INTEGER NOT NULL,"
        " open_at INTEGER, type TEXT NOT NULL, effect TEXT, from_member TEXT NOT NULL,"
        " from_handle TEXT NOT NULL, from_emoji TEXT NOT NULL, body TEXT NOT NULL)",
        "CREATE INDEX beam_of_circle ON beam (circle, tick, sender, bytes)",
        "CREATE UNIQUE INDEX beam_of_capsule ON beam (id) WHERE open_at IS NOT NULL",
    }};

// As long as an operator waits for a start without wondering. In that time some gigabytes are read
// from a solid disk.
constexpr std::chrono::seconds checkAtMost{2};

/// Has what the connection does fail once the time is over.
class Deadline
{
public:
    Deadline(SqliteConnection &connection, std::chrono::milliseconds time)
        : thread_([&connection, time, this](const std::stop_token &stop) {
            pause(stop, time);
            if (stop.stop_requested())
                return;
            passed_ = true;
            connection.interrupt();
        })
    {}
    bool passed() const { return passed_; }

private:
    std::atomic<bool> passed_ = false;
    std::jthread thread_;
};

/// Condemns a file in which something is wrong. Every page that is in use is read, in a large file
/// as many as there is time for: the small tables first, then the beams from the latest on.
void lookForDamage(SqliteConnection &connection)
{
    std::string found;
    const Deadline deadline(connection, checkAtMost);
    try {
        connection.file().guarded(
            [&] { connection.session() << "PRAGMA quick_check(1)", soci::into(found); });
    } catch (const LedgerUnavailable &) {
        if (!deadline.passed() || !connection.file().usable())
            throw;
    }
    if (deadline.passed())
        spdlog::info("the database is large; not all of it was looked at for damage");
    else if (found != "ok")
        connection.file().condemn(found);
}

/// Beside the file, as it is before its tables are changed. Nobody writes meanwhile.
void keepCopy(SqliteFile &file, int version)
{
    const std::filesystem::path copy = file.path() + ".version-" + std::to_string(version);
    const std::filesystem::path unfinished = copy.string() + ".part";
    std::filesystem::remove(unfinished);
    std::string name = unfinished.string();
    for (std::size_t at = 0; (at = name.find('\'', at)) != std::string::npos; at += 2)
        name.insert(at, 1, '\'');
    soci::session reading(soci::sqlite3, "db=\"" + file.path() + "\"");
    reading << "VACUUM INTO '" + name + "'";
    std::filesystem::rename(unfinished, copy);
    spdlog::info(
        "the database's tables are made those of this version; what they were is kept in {}",
        copy.string());
}

void bringUpToDate(soci::session &session, const Schema &wanted, int from)
{
    wanted.bringUpToDate(session, from);
    session << "PRAGMA application_id = " << applicationId;
    session << "PRAGMA user_version = " << wanted.version();
}

} // namespace

bool isOurs(soci::session &session)
{
    // In this order: who creates the tables sets both at once.
    int tables = 0;
    int id = 0;
    session << "SELECT count(*) FROM sqlite_master", soci::into(tables);
    session << "PRAGMA application_id", soci::into(id);
    return tables == 0 || id == applicationId;
}

void createTablesOfFile(soci::session &session)
{
    bringUpToDate(session, schema, 0);
}

void prepareSchema(SqliteConnection &connection)
{
    bringUpToDate(connection, {});
}

void bringUpToDate(SqliteConnection &connection, const std::vector<Schema::Steps> &trialMigrations)
{
    Schema wanted = schema;
    wanted.migrations.insert(wanted.migrations.end(), trialMigrations.begin(),
                             trialMigrations.end());
    lookForDamage(connection);
    // Taken before looking: of two processes that start on a new file, one creates the tables.
    SqliteTransaction transaction(connection);
    connection.file().guarded([&] {
        soci::session &session = connection.session();
        int version = 0;
        session << "PRAGMA user_version", soci::into(version);
        if (version == wanted.version())
            return;
        if (version >= wanted.first && version < wanted.version())
            keepCopy(connection.file(), version);
        bringUpToDate(session, wanted, version);
    });
    transaction.commit();
}

} // namespace kivolo::server
