#include "sqlite_statements.h"

namespace kivolo::server {

using soci::into;

namespace {

constexpr int schemaVersion = 7;

// Bodies stand last: SQLite reads a row from its front and leaves the rest on overflow pages
// untouched. The beams' index carries what a poll needs to know before it reads any of them.
constexpr const char *schema[] = {
    "CREATE TABLE circle ("
    " number INTEGER PRIMARY KEY, code TEXT NOT NULL UNIQUE, max_seats INTEGER NOT NULL,"
    " tick INTEGER NOT NULL, sender INTEGER NOT NULL DEFAULT 0,"
    " others_tick INTEGER NOT NULL DEFAULT 0, bytes INTEGER NOT NULL DEFAULT 0,"
    " busy_until INTEGER NOT NULL DEFAULT 0,"
    " founder TEXT NOT NULL,"
    " founder_key TEXT NOT NULL, owner_email TEXT NOT NULL, created_at INTEGER NOT NULL)",
    "CREATE TABLE member ("
    " number INTEGER PRIMARY KEY AUTOINCREMENT, key TEXT NOT NULL UNIQUE, id TEXT NOT NULL,"
    " circle INTEGER NOT NULL REFERENCES circle (number), device_id TEXT NOT NULL UNIQUE,"
    " handle TEXT NOT NULL, emoji TEXT NOT NULL, joined_at INTEGER NOT NULL,"
    " seen INTEGER NOT NULL DEFAULT (unixepoch()))",
    "CREATE INDEX member_of_circle ON member (circle)",
    "CREATE TABLE beam ("
    " number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE,"
    " circle INTEGER NOT NULL REFERENCES circle (number), tick INTEGER NOT NULL,"
    " created_at INTEGER NOT NULL, sender INTEGER NOT NULL, bytes INTEGER NOT NULL,"
    " open_at INTEGER, type TEXT NOT NULL, effect TEXT, from_member TEXT NOT NULL,"
    " from_handle TEXT NOT NULL, from_emoji TEXT NOT NULL, body TEXT NOT NULL)",
    "CREATE INDEX beam_of_circle ON beam (circle, tick, sender, bytes)",
};

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
    : session_(session)
{}

std::optional<Circle> SqliteStatements::circleByCode(const std::string &code)
{
    return circleByCode_.one({code});
}

std::int64_t SqliteStatements::circlesMade()
{
    return lastOfCircles_.one({}).value_or(sqlite::LastCircle()).number;
}

std::optional<Seat> SqliteStatements::seatOfDevice(const std::string &deviceId)
{
    return seatOfDevice_.one({deviceId});
}

std::optional<Seat> SqliteStatements::seatOfKey(const std::string &key)
{
    return seatOfKey_.one({key});
}

std::vector<Member> SqliteStatements::members(std::int64_t circle)
{
    return members_.all({circle});
}

std::vector<BeamSize> SqliteStatements::sizesAfter(std::int64_t circle, Tick tick, int limit)
{
    return sizesAfter_.all({circle, tick, limit});
}

std::vector<BeamSize> SqliteStatements::latestSizes(std::int64_t circle, int limit)
{
    return latestSizes_.all({circle, limit});
}

std::vector<Beam> SqliteStatements::beams(std::int64_t circle, std::int64_t exceptSender,
                                          Tick after, Tick until)
{
    return beams_.all({circle, after, until, exceptSender});
}

std::optional<Beam> SqliteStatements::capsule(std::int64_t circle, const std::string &id)
{
    return capsule_.one({circle, id});
}

void SqliteStatements::measureRoom(std::int64_t free, std::int64_t fileSize)
{
    const std::int64_t used = sizeOfFile_.one({}).value_or(sqlite::FileSize()).bytes;
    room_ = {used, free - std::max<std::int64_t>(0, used - fileSize)};
}

void SqliteStatements::addCircle(const Founding &founding, const CreateRequest &founder,
                                 Seconds now)
{
    const Circle &circle = founding.circle;
    addCircle_.run({circle.code, circle.maxSeats, founder.ownerEmail, founder.deviceId,
                    founding.key, now, circle.tick});
    takeRoom(0);
}

std::optional<std::string> SqliteStatements::takeFounderKey(std::int64_t circle,
                                                            const std::string &deviceId)
{
    std::optional<sqlite::FounderKey> founder = keyOfFounder_.one({circle, deviceId});
    if (!founder)
        return std::nullopt;
    forgetFounder_.run({circle});
    return std::move(founder->key);
}

void SqliteStatements::addMember(const Seat &seat, const std::string &deviceId, Seconds now)
{
    const Member &member = seat.member;
    addMember_.run({member.id, seat.key, seat.circle.number, deviceId, member.handle, member.emoji,
                    now, member.seen});
}

void SqliteStatements::markSeen(const Member &member, Seconds seen)
{
    markSeen_.run({seen, member.number});
    changed_.push_back(member.circle);
}

void SqliteStatements::renameMember(const Member &member)
{
    renameMember_.run({member.handle, member.emoji, member.number});
}

void SqliteStatements::removeMember(const Member &member)
{
    removeMember_.run({member.number});
    changed_.push_back(member.circle);
}

void SqliteStatements::stampCircle(const Circle &circle)
{
    stampCircle_.run({circle.tick, circle.sender, circle.othersTick, circle.bytes, circle.busyUntil,
                      circle.number});
    changed_.push_back(circle.number);
}

void SqliteStatements::addBeam(const Beam &beam, Tick tick, const Member &sender,
                               std::int64_t bytes)
{
    addBeam_.run({beam.id, sender.circle, tick, beam.createdAt, sender.number, bytes, beam.openAt,
                  beam.type, beam.effect, beam.fromMember, beam.fromHandle, beam.fromEmoji,
                  beam.body});
    takeRoom(bytes);
}

// Whatever stands in a row beside the members' own data, and in the indexes, is less than that.
void SqliteStatements::takeRoom(std::int64_t bytes)
{
    bytes += 1'024;
    room_ = {room_.used + bytes, room_.freeAfter(bytes)};
}

} // namespace kivolo::server
