#include "sqlite_statements.h"

namespace kivolo::server {

using soci::into;

namespace {

constexpr int schemaVersion = 5;

// Bodies stand last: SQLite reads a row from its front and leaves the rest on overflow pages
// untouched. The beams' index carries what a poll needs to know before it reads any of them.
constexpr const char *schema[] = {
    "CREATE TABLE circle ("
    " number INTEGER PRIMARY KEY, code TEXT NOT NULL UNIQUE, max_seats INTEGER NOT NULL,"
    " tick INTEGER NOT NULL, sender INTEGER NOT NULL DEFAULT 0,"
    " others_tick INTEGER NOT NULL DEFAULT 0, busy_until INTEGER NOT NULL DEFAULT 0,"
    " founder TEXT NOT NULL,"
    " founder_key TEXT NOT NULL, owner_email TEXT NOT NULL, created_at INTEGER NOT NULL)",
    "CREATE TABLE member ("
    " number INTEGER PRIMARY KEY AUTOINCREMENT, key TEXT NOT NULL UNIQUE, id TEXT NOT NULL,"
    " circle INTEGER NOT NULL REFERENCES circle (number), device_id TEXT NOT NULL UNIQUE,"
    " handle TEXT NOT NULL, emoji TEXT NOT NULL, joined_at INTEGER NOT NULL)",
    "CREATE INDEX member_of_circle ON member (circle)",
    "CREATE TABLE beam ("
    " number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE,"
    " circle INTEGER NOT NULL REFERENCES circle (number), tick INTEGER NOT NULL,"
    " created_at INTEGER NOT NULL, sender INTEGER NOT NULL, bytes INTEGER NOT NULL,"
    " open_at INTEGER, type TEXT NOT NULL, effect TEXT, from_member TEXT NOT NULL,"
    " from_handle TEXT NOT NULL, from_emoji TEXT NOT NULL, body TEXT NOT NULL)",
    "CREATE INDEX beam_of_circle ON beam (circle, tick, sender, bytes)",
};

template<typename Query>
auto one(Query &query) -> std::optional<decltype(query.out.take())>
{
    return runOnce(query.statement) ? std::optional(query.out.take()) : std::nullopt;
}

template<typename Query>
auto all(Query &query) -> std::vector<decltype(query.out.take())>
{
    std::vector<decltype(query.out.take())> rows;
    forEachRow(query.statement, [&] { rows.push_back(query.out.take()); });
    return rows;
}

} // namespace

void prepareSchema(soci::session &session)
{
    // Taken before looking: of two processes that start on a new file, one creates the tables.
    SqliteTransaction transaction(session);
    guarded([&] {
        int version = 0;
        int tables = 0;
        session << "PRAGMA user_version", into(version);
        session << "SELECT count(*) FROM sqlite_master", into(tables);
        if (version == 0 && tables == 0) {
            for (const char *statement : schema)
                session << statement;
            session << "PRAGMA user_version = " << schemaVersion;
        } else if (version == 0) {
            throw std::runtime_error("the file is a database of another program");
        } else if (version != schemaVersion) {
            throw std::runtime_error("the database was made by another version");
        }
    });
    transaction.commit();
}

SqliteStatements::SqliteStatements(soci::session &session)
    : circleByCode_(session)
    , seatOfDevice_(session)
    , seatOfKey_(session)
    , members_(session)
    , sizesAfter_(session)
    , latestSizes_(session)
    , beams_(session)
    , capsule_(session)
    , addCircle_(session)
    , founderKey_(session)
    , forgetFounder_(session)
    , addMember_(session)
    , renameMember_(session)
    , removeMember_(session)
    , stampCircle_(session)
    , addBeam_(session)
{}

std::optional<Circle> SqliteStatements::circleByCode(const std::string &code)
{
    circleByCode_.in = {code};
    return one(circleByCode_);
}

std::optional<Seat> SqliteStatements::seatOfDevice(const std::string &deviceId)
{
    seatOfDevice_.in = {deviceId};
    return one(seatOfDevice_);
}

std::optional<Seat> SqliteStatements::seatOfKey(const std::string &key)
{
    seatOfKey_.in = {key};
    return one(seatOfKey_);
}

std::vector<Member> SqliteStatements::members(std::int64_t circle)
{
    members_.in = {circle};
    return all(members_);
}

std::vector<BeamSize> SqliteStatements::sizesAfter(std::int64_t circle, Tick tick, int limit)
{
    sizesAfter_.in = {circle, tick, limit};
    return all(sizesAfter_);
}

std::vector<BeamSize> SqliteStatements::latestSizes(std::int64_t circle, int limit)
{
    latestSizes_.in = {circle, limit};
    return all(latestSizes_);
}

std::vector<Beam> SqliteStatements::beams(std::int64_t circle, std::int64_t exceptSender,
                                          Tick after, Tick until)
{
    beams_.in = {circle, exceptSender, after, until};
    return all(beams_);
}

std::optional<Beam> SqliteStatements::capsule(std::int64_t circle, const std::string &id)
{
    capsule_.in = {circle, id};
    return one(capsule_);
}

void SqliteStatements::addCircle(const Founding &founding, const CreateRequest &founder,
                                 Seconds now)
{
    const Circle &circle = founding.circle;
    addCircle_.in = {circle.code,  founder.ownerEmail, founder.deviceId,
                     founding.key, circle.maxSeats,    now,
                     circle.tick};
    runOnce(addCircle_.statement);
}

std::optional<std::string> SqliteStatements::takeFounderKey(std::int64_t circle,
                                                            const std::string &deviceId)
{
    founderKey_.in = {circle, deviceId};
    std::optional<std::string> key = one(founderKey_);
    if (key) {
        forgetFounder_.in = {circle};
        runOnce(forgetFounder_.statement);
    }
    return key;
}

void SqliteStatements::addMember(const Seat &seat, const std::string &deviceId, Seconds now)
{
    const Member &member = seat.member;
    addMember_.in = {member.id,    seat.key,           deviceId, member.handle,
                     member.emoji, seat.circle.number, now};
    runOnce(addMember_.statement);
}

void SqliteStatements::renameMember(const Member &member)
{
    renameMember_.in = {member.number, member.handle, member.emoji};
    runOnce(renameMember_.statement);
}

void SqliteStatements::removeMember(const Member &member)
{
    removeMember_.in = {member.number};
    runOnce(removeMember_.statement);
}

void SqliteStatements::stampCircle(const Circle &circle)
{
    stampCircle_.in = {circle.number, circle.tick, circle.sender, circle.othersTick,
                       circle.busyUntil};
    runOnce(stampCircle_.statement);
}

void SqliteStatements::addBeam(const Beam &beam, Tick tick, const Member &sender,
                               std::int64_t bytes)
{
    auto &in = addBeam_.in;
    in.beam = beam;
    in.circle = sender.circle;
    in.tick = tick;
    in.createdAt = beam.createdAt;
    in.sender = sender.number;
    in.bytes = bytes;
    in.effect = beam.effect.value_or("");
    in.effectState = beam.effect ? soci::i_ok : soci::i_null;
    in.openAt = beam.openAt.value_or(0);
    in.openAtState = beam.openAt ? soci::i_ok : soci::i_null;
    runOnce(addBeam_.statement);
    in.beam.body = {}; // a doodle need not be kept until the next
}

} // namespace kivolo::server
