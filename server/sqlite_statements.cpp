#include "sqlite_statements.h"

#include <algorithm>

namespace kivolo::server {

using soci::into;
using soci::use;

namespace {

constexpr int schemaVersion = 2;

// Bodies stand last: SQLite reads a row from its front and leaves the rest on overflow pages
// untouched. The indexes carry what a poll needs, so that one that finds nothing reads no row, and
// the asker's own beams cost it none either.
constexpr const char *schema[] = {
    "CREATE TABLE circle ("
    " number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE, code TEXT NOT NULL UNIQUE,"
    " max_seats INTEGER NOT NULL, owner_email TEXT NOT NULL, created_at INTEGER NOT NULL)",
    "CREATE TABLE member ("
    " number INTEGER PRIMARY KEY AUTOINCREMENT, id TEXT NOT NULL,"
    " circle INTEGER NOT NULL REFERENCES circle (number), device_id TEXT NOT NULL UNIQUE,"
    " handle TEXT NOT NULL, emoji TEXT NOT NULL, joined_at INTEGER NOT NULL)",
    "CREATE UNIQUE INDEX member_by_id ON member (id, circle)",
    "CREATE INDEX member_of_circle ON member (circle)",
    "CREATE TABLE beam ("
    " number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE,"
    " circle INTEGER NOT NULL REFERENCES circle (number), created_at INTEGER NOT NULL,"
    " sender INTEGER NOT NULL, bytes INTEGER NOT NULL, open_at INTEGER, type TEXT NOT NULL,"
    " effect TEXT, from_member TEXT NOT NULL, from_handle TEXT NOT NULL,"
    " from_emoji TEXT NOT NULL, body TEXT NOT NULL)",
    "CREATE INDEX beam_of_circle ON beam (circle, created_at, number, sender)",
};

// Version 2: the horizon, see SqliteLedger. Of what a version 1 has told only its stamps are known.
constexpr const char *horizonSchema[] = {
    "CREATE TABLE horizon (second INTEGER NOT NULL)",
    "INSERT INTO horizon SELECT coalesce(max(created_at), 0) FROM beam",
};

} // namespace

void prepareSchema(soci::session &session)
{
    guarded([&] {
        // Taken before looking: of two processes that start on a new file, one creates the tables.
        session << "BEGIN IMMEDIATE";
        int version = 0;
        int tables = 0;
        session << "PRAGMA user_version", into(version);
        session << "SELECT count(*) FROM sqlite_master", into(tables);
        if (version == 0 && tables == 0) {
            for (const char *statement : schema)
                session << statement;
            version = 1;
        }
        if (version == 1) {
            for (const char *statement : horizonSchema)
                session << statement;
            session << "PRAGMA user_version = " << schemaVersion;
            version = schemaVersion;
        }
        session << "COMMIT";
        if (version == 0)
            throw std::runtime_error("the file is a database of another program");
        if (version != schemaVersion)
            throw std::runtime_error("the database was written by a newer version");
    });
}

Beam SqliteStatements::BeamColumns::take()
{
    beam.createdAt = createdAt;
    beam.effect = effectState == soci::i_ok ? std::optional(effect) : std::nullopt;
    beam.openAt = openAtState == soci::i_ok ? std::optional<Seconds>(openAt) : std::nullopt;
    return std::move(beam);
}

Circle SqliteStatements::CircleColumns::take() const
{
    return {number, circle.id, circle.code, maxSeats};
}

Member SqliteStatements::MemberColumns::take() const
{
    return {number, circle, member.id, member.handle, member.emoji};
}

soci::details::prepare_temp_type SqliteStatements::selectCircle(soci::session &session,
                                                                const char *where)
{
    auto prepare = session.prepare;
    return (prepare << "SELECT c.number, c.id, c.code, c.max_seats FROM circle c WHERE " << where,
            into(circle_.number), into(circle_.circle.id), into(circle_.circle.code),
            into(circle_.maxSeats));
}

soci::details::prepare_temp_type SqliteStatements::selectSeat(soci::session &session,
                                                              const char *where)
{
    auto prepare = session.prepare;
    return (prepare << "SELECT c.number, c.id, c.code, c.max_seats, m.number, m.circle, m.id,"
                       " m.handle, m.emoji"
                       " FROM member m JOIN circle c ON c.number = m.circle WHERE "
                    << where,
            into(circle_.number), into(circle_.circle.id), into(circle_.circle.code),
            into(circle_.maxSeats), into(member_.number), into(member_.circle),
            into(member_.member.id), into(member_.member.handle), into(member_.member.emoji));
}

soci::details::prepare_temp_type SqliteStatements::selectBeams(soci::session &session,
                                                               const char *rest)
{
    auto prepare = session.prepare;
    return (prepare << "SELECT b.id, b.from_member, b.type, b.body, b.created_at, b.from_handle,"
                       " b.from_emoji, b.effect, b.open_at FROM beam b "
                    << rest,
            into(beam_.beam.id), into(beam_.beam.fromMember), into(beam_.beam.type),
            into(beam_.beam.body), into(beam_.createdAt), into(beam_.beam.fromHandle),
            into(beam_.beam.fromEmoji), into(beam_.effect, beam_.effectState),
            into(beam_.openAt, beam_.openAtState));
}

SqliteStatements::SqliteStatements(soci::session &s)
    : circleById_((selectCircle(s, "c.id = :id"), use(in_.text1)))
    , circleByCode_((selectCircle(s, "c.code = :code"), use(in_.text1)))
    , seatOfDevice_((selectSeat(s, "m.device_id = :device"), use(in_.text1)))
    , seat_((selectSeat(s, "c.id = :circle AND m.id = :member"), use(in_.text1), use(in_.text2)))
    , members_((s.prepare << "SELECT number, circle, id, handle, emoji FROM member"
                             " WHERE circle = :circle ORDER BY number",
                into(member_.number), into(member_.circle), into(member_.member.id),
                into(member_.member.handle), into(member_.member.emoji), use(in_.number1)))
    // One row without a beam says: a member, and nothing new. No row says: not a member.
    , sizesSince_((s.prepare << "SELECT b.created_at, b.bytes FROM circle c"
                                " CROSS JOIN member m ON m.id = :member AND m.circle = c.number"
                                " LEFT JOIN beam b ON b.circle = c.number"
                                " AND b.created_at > :since AND b.sender <> m.number"
                                " WHERE c.id = :circle ORDER BY b.created_at LIMIT :limit",
                   into(beam_.createdAt, beam_.createdAtState), into(beam_.bytes, beam_.bytesState),
                   use(in_.text2), use(in_.number1), use(in_.text1), use(in_.limit)))
    , beamsSince_((selectBeams(s, "JOIN circle c ON c.number = b.circle"
                                  " JOIN member m ON m.circle = c.number AND m.id = :member"
                                  " WHERE c.id = :circle AND b.created_at > :since"
                                  " AND b.created_at <= :until AND b.sender <> m.number"
                                  " ORDER BY b.created_at, b.number"),
                   use(in_.text2), use(in_.text1), use(in_.number1), use(in_.number2)))
    , latestSizes_((s.prepare << "SELECT created_at, bytes FROM beam"
                                 " WHERE circle = :circle AND sender <> :sender"
                                 " ORDER BY created_at DESC, number DESC LIMIT :limit",
                    into(beam_.createdAt), into(beam_.bytes), use(in_.number1), use(in_.number2),
                    use(in_.limit)))
    , latest_((selectBeams(s, "WHERE b.circle = :circle AND b.sender <> :sender"
                              " ORDER BY b.created_at DESC, b.number DESC LIMIT :limit"),
               use(in_.number1), use(in_.number2), use(in_.limit)))
    , beamById_((selectBeams(s, "JOIN circle c ON c.number = b.circle"
                                " WHERE b.id = :id AND c.id = :circle"
                                " AND b.open_at IS NOT NULL"),
                 use(in_.text2), use(in_.text1)))
    , loadOfSecond_((s.prepare << "SELECT count(*), coalesce(sum(bytes), 0) FROM beam"
                                  " WHERE circle = :circle AND created_at = :second",
                     into(beam_.createdAt), into(beam_.bytes), use(in_.number1), use(in_.number2)))
    , addCircle_((s.prepare << "INSERT INTO circle (id, code, max_seats, owner_email, created_at)"
                               " VALUES (:id, :code, :seats, :email, :now)",
                  use(circle_.circle.id), use(circle_.circle.code), use(circle_.maxSeats),
                  use(insertion_.ownerEmail), use(insertion_.now)))
    , addMember_(
          (s.prepare << "INSERT INTO member (id, circle, device_id, handle, emoji, joined_at)"
                        " VALUES (:id, :circle, :device, :handle, :emoji, :now)",
           use(member_.member.id), use(member_.circle), use(insertion_.deviceId),
           use(member_.member.handle), use(member_.member.emoji), use(insertion_.now)))
    , renameMember_((s.prepare << "UPDATE member SET handle = :handle, emoji = :emoji"
                                  " WHERE number = :number",
                     use(member_.member.handle), use(member_.member.emoji), use(member_.number)))
    , removeMember_((s.prepare << "DELETE FROM member WHERE number = :number", use(in_.number1)))
    , addBeam_((s.prepare << "INSERT INTO beam (id, circle, created_at, sender, bytes, open_at,"
                             " type, effect, from_member, from_handle, from_emoji, body)"
                             " VALUES (:id, :circle, :created, :sender, :bytes, :open, :type,"
                             " :effect, :from, :handle, :emoji, :body)",
                use(beam_.beam.id), use(beam_.circle), use(beam_.createdAt), use(beam_.sender),
                use(beam_.bytes), use(beam_.openAt, beam_.openAtState), use(beam_.beam.type),
                use(beam_.effect, beam_.effectState), use(beam_.beam.fromMember),
                use(beam_.beam.fromHandle), use(beam_.beam.fromEmoji), use(beam_.beam.body)))
    , horizon_((s.prepare << "SELECT second FROM horizon", into(in_.number1)))
    , setHorizon_((s.prepare << "UPDATE horizon SET second = :second", use(in_.number1)))
{}

std::optional<Circle> SqliteStatements::oneCircle(soci::statement &statement)
{
    return runOnce(statement) ? std::optional(circle_.take()) : std::nullopt;
}

std::optional<Seat> SqliteStatements::oneSeat(soci::statement &statement)
{
    return runOnce(statement) ? std::optional(Seat{circle_.take(), member_.take()}) : std::nullopt;
}

std::vector<Beam> SqliteStatements::manyBeams(soci::statement &statement)
{
    std::vector<Beam> beams;
    forEachRow(statement, [&] { beams.push_back(beam_.take()); });
    return beams;
}

std::optional<Circle> SqliteStatements::circleById(const std::string &id)
{
    in_.text1 = id;
    return oneCircle(circleById_);
}

std::optional<Circle> SqliteStatements::circleByCode(const std::string &code)
{
    in_.text1 = code;
    return oneCircle(circleByCode_);
}

std::optional<Seat> SqliteStatements::seatOfDevice(const std::string &deviceId)
{
    in_.text1 = deviceId;
    return oneSeat(seatOfDevice_);
}

std::optional<Seat> SqliteStatements::seat(const std::string &circleId, const std::string &memberId)
{
    in_.text1 = circleId;
    in_.text2 = memberId;
    return oneSeat(seat_);
}

std::vector<Member> SqliteStatements::members(std::int64_t circle)
{
    in_.number1 = circle;
    std::vector<Member> members;
    forEachRow(members_, [&] { members.push_back(member_.take()); });
    return members;
}

std::optional<std::vector<BeamSize>> SqliteStatements::sizesSince(const std::string &circleId,
                                                                  const std::string &memberId,
                                                                  Seconds since, int limit)
{
    in_.text1 = circleId;
    in_.text2 = memberId;
    in_.number1 = since;
    in_.limit = limit;
    std::optional<std::vector<BeamSize>> sizes;
    forEachRow(sizesSince_, [&] {
        if (!sizes)
            sizes.emplace();
        if (beam_.createdAtState == soci::i_ok)
            sizes->push_back({beam_.createdAt, beam_.bytes});
    });
    return sizes;
}

std::vector<Beam> SqliteStatements::beamsSince(const std::string &circleId,
                                               const std::string &memberId, Seconds since,
                                               Seconds until)
{
    in_.text1 = circleId;
    in_.text2 = memberId;
    in_.number1 = since;
    in_.number2 = until;
    return manyBeams(beamsSince_);
}

std::vector<BeamSize> SqliteStatements::latestSizes(std::int64_t circle, std::int64_t exceptSender,
                                                    int limit)
{
    in_.number1 = circle;
    in_.number2 = exceptSender;
    in_.limit = limit;
    std::vector<BeamSize> sizes;
    forEachRow(latestSizes_, [&] { sizes.push_back({beam_.createdAt, beam_.bytes}); });
    return sizes;
}

std::vector<Beam> SqliteStatements::latest(std::int64_t circle, std::int64_t exceptSender,
                                           int limit)
{
    in_.number1 = circle;
    in_.number2 = exceptSender;
    in_.limit = limit;
    std::vector<Beam> beams = manyBeams(latest_);
    std::reverse(beams.begin(), beams.end());
    return beams;
}

std::optional<Beam> SqliteStatements::capsule(const std::string &circleId, const std::string &id)
{
    in_.text1 = circleId;
    in_.text2 = id;
    return runOnce(beamById_) ? std::optional(beam_.take()) : std::nullopt;
}

LedgerTransaction::Load SqliteStatements::loadOfSecond(std::int64_t circle, Seconds second)
{
    in_.number1 = circle;
    in_.number2 = second;
    runOnce(loadOfSecond_);
    return {beam_.createdAt, beam_.bytes};
}

void SqliteStatements::addCircle(const Circle &circle, const std::string &ownerEmail, Seconds now)
{
    circle_.circle = circle;
    circle_.maxSeats = circle.maxSeats;
    insertion_.ownerEmail = ownerEmail;
    insertion_.now = now;
    runOnce(addCircle_);
}

void SqliteStatements::addMember(const Member &member, const std::string &deviceId, Seconds now)
{
    member_.member = member;
    member_.circle = member.circle;
    insertion_.deviceId = deviceId;
    insertion_.now = now;
    runOnce(addMember_);
}

void SqliteStatements::renameMember(const Member &member)
{
    member_.member = member;
    member_.number = member.number;
    runOnce(renameMember_);
}

void SqliteStatements::removeMember(const Member &member)
{
    in_.number1 = member.number;
    runOnce(removeMember_);
}

void SqliteStatements::addBeam(const Beam &beam, const Member &sender, std::int64_t bytes)
{
    beam_.beam = beam;
    beam_.circle = sender.circle;
    beam_.createdAt = beam.createdAt;
    beam_.sender = sender.number;
    beam_.bytes = bytes;
    beam_.openAt = beam.openAt.value_or(0);
    beam_.openAtState = beam.openAt ? soci::i_ok : soci::i_null;
    beam_.effect = beam.effect.value_or("");
    beam_.effectState = beam.effect ? soci::i_ok : soci::i_null;
    runOnce(addBeam_);
}

Seconds SqliteStatements::horizon()
{
    runOnce(horizon_);
    return in_.number1;
}

void SqliteStatements::setHorizon(Seconds second)
{
    in_.number1 = second;
    runOnce(setHorizon_);
}

} // namespace kivolo::server
