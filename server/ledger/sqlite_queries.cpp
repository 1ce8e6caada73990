#include "sqlite_queries.h"

namespace kivolo::server::sqlite {

using soci::into;
using soci::use;
using Prepared = soci::details::prepare_temp_type;

namespace {

/// A query that reads rows into `out`; its inputs are still to be bound.
template<typename Columns>
Prepared select(soci::session &session, const std::string &sql, Columns &out)
{
    Prepared query = session.prepare << sql;
    out.bind(query);
    return query;
}

std::string circleWhere(const char *condition)
{
    return std::string("SELECT ") + CircleColumns::names + " FROM circle c WHERE " + condition;
}

std::string seatWhere(const char *condition)
{
    return std::string("SELECT ") + CircleColumns::names + ", " + MemberColumns::names +
           ", m.key FROM member m JOIN circle c ON c.number = m.circle WHERE " + condition;
}

} // namespace

void CircleColumns::bind(Prepared &query)
{
    query, into(number), into(code), into(maxSeats), into(tick), into(sender), into(othersTick),
        into(busyUntil);
}

void MemberColumns::bind(Prepared &query)
{
    query, into(number), into(circle), into(id), into(handle), into(emoji);
}

void SeatColumns::bind(Prepared &query)
{
    circle.bind(query);
    member.bind(query);
    query, into(key);
}

void BeamColumns::bind(Prepared &query)
{
    query, into(beam.id), into(beam.fromMember), into(beam.type), into(beam.body), into(createdAt),
        into(beam.fromHandle), into(beam.fromEmoji), into(effect, effectState),
        into(openAt, openAtState);
}

Beam BeamColumns::take()
{
    beam.createdAt = createdAt;
    beam.effect = effectState == soci::i_ok ? std::optional(effect) : std::nullopt;
    beam.openAt = openAtState == soci::i_ok ? std::optional<Seconds>(openAt) : std::nullopt;
    return std::move(beam);
}

void SizeColumns::bind(Prepared &query)
{
    query, into(tick), into(sender), into(bytes);
}

CircleByCode::CircleByCode(soci::session &session)
    : statement((select(session, circleWhere("c.code = :code"), out), use(in.code, "code")))
{}

SeatOfDevice::SeatOfDevice(soci::session &session)
    : statement(
          (select(session, seatWhere("m.device_id = :device"), out), use(in.device, "device")))
{}

SeatOfKey::SeatOfKey(soci::session &session)
    : statement((select(session, seatWhere("m.key = :key"), out), use(in.key, "key")))
{}

Members::Members(soci::session &session)
    : statement((select(session,
                        std::string("SELECT ") + MemberColumns::names +
                            " FROM member m WHERE m.circle = :circle ORDER BY m.number",
                        out),
                 use(in.circle, "circle")))
{}

SizesAfter::SizesAfter(soci::session &session)
    : statement((select(session,
                        std::string("SELECT ") + SizeColumns::names +
                            " FROM beam WHERE circle = :circle AND tick > :tick"
                            " ORDER BY tick LIMIT :limit",
                        out),
                 use(in.circle, "circle"), use(in.tick, "tick"), use(in.limit, "limit")))
{}

LatestSizes::LatestSizes(soci::session &session)
    : statement((select(session,
                        std::string("SELECT ") + SizeColumns::names +
                            " FROM beam WHERE circle = :circle ORDER BY tick DESC LIMIT :limit",
                        out),
                 use(in.circle, "circle"), use(in.limit, "limit")))
{}

Beams::Beams(soci::session &session)
    : statement((select(session,
                        std::string("SELECT ") + BeamColumns::names +
                            " FROM beam b WHERE b.circle = :circle AND b.tick > :after"
                            " AND b.tick <= :until AND b.sender <> :sender ORDER BY b.tick",
                        out),
                 use(in.circle, "circle"), use(in.after, "after"), use(in.until, "until"),
                 use(in.exceptSender, "sender")))
{}

Capsule::Capsule(soci::session &session)
    : statement((select(session,
                        std::string("SELECT ") + BeamColumns::names +
                            " FROM beam b WHERE b.id = :id AND b.circle = :circle"
                            " AND b.open_at IS NOT NULL",
                        out),
                 use(in.id, "id"), use(in.circle, "circle")))
{}

AddCircle::AddCircle(soci::session &session)
    : statement((session.prepare << "INSERT INTO circle (code, max_seats, owner_email, founder,"
                                    " founder_key, created_at, tick) VALUES"
                                    " (:code, :seats, :email, :founder, :key, :now, :tick)",
                 use(in.code, "code"), use(in.maxSeats, "seats"), use(in.ownerEmail, "email"),
                 use(in.founder, "founder"), use(in.founderKey, "key"), use(in.now, "now"),
                 use(in.tick, "tick")))
{}

FounderKey::FounderKey(soci::session &session)
    : statement((session.prepare << "SELECT founder_key FROM circle WHERE number = :circle"
                                    " AND founder = :device",
                 into(out.key), use(in.circle, "circle"), use(in.device, "device")))
{}

ForgetFounder::ForgetFounder(soci::session &session)
    : statement((session.prepare << "UPDATE circle SET founder = '', founder_key = ''"
                                    " WHERE number = :circle",
                 use(in.circle, "circle")))
{}

StampCircle::StampCircle(soci::session &session)
    : statement(
          (session.prepare << "UPDATE circle SET tick = :tick, sender = :sender,"
                              " others_tick = :others, busy_until = :busy WHERE number = :circle",
           use(in.tick, "tick"), use(in.sender, "sender"), use(in.othersTick, "others"),
           use(in.busyUntil, "busy"), use(in.circle, "circle")))
{}

AddMember::AddMember(soci::session &session)
    : statement((session.prepare << "INSERT INTO member"
                                    " (id, key, circle, device_id, handle, emoji, joined_at)"
                                    " VALUES (:id, :key, :circle, :device, :handle, :emoji, :now)",
                 use(in.id, "id"), use(in.key, "key"), use(in.circle, "circle"),
                 use(in.device, "device"), use(in.handle, "handle"), use(in.emoji, "emoji"),
                 use(in.now, "now")))
{}

RenameMember::RenameMember(soci::session &session)
    : statement((session.prepare << "UPDATE member SET handle = :handle, emoji = :emoji"
                                    " WHERE number = :number",
                 use(in.handle, "handle"), use(in.emoji, "emoji"), use(in.number, "number")))
{}

RemoveMember::RemoveMember(soci::session &session)
    : statement((session.prepare << "DELETE FROM member WHERE number = :number",
                 use(in.number, "number")))
{}

AddBeam::AddBeam(soci::session &session)
    : statement((session.prepare
                     << "INSERT INTO beam (id, circle, tick, created_at, sender, bytes, open_at,"
                        " type, effect, from_member, from_handle, from_emoji, body)"
                        " VALUES (:id, :circle, :tick, :created, :sender, :bytes, :open, :type,"
                        " :effect, :from, :handle, :emoji, :body)",
                 use(in.beam.id, "id"), use(in.circle, "circle"), use(in.tick, "tick"),
                 use(in.createdAt, "created"), use(in.sender, "sender"), use(in.bytes, "bytes"),
                 use(in.openAt, in.openAtState, "open"), use(in.beam.type, "type"),
                 use(in.effect, in.effectState, "effect"), use(in.beam.fromMember, "from"),
                 use(in.beam.fromHandle, "handle"), use(in.beam.fromEmoji, "emoji"),
                 use(in.beam.body, "body")))
{}

} // namespace kivolo::server::sqlite
