// The queries that engines have in common and members need, one type each.
#pragma once

#include "ledger.h"
#include "query.h"

namespace kivolo::server::sql {

// What rows are read into.

template<>
struct Row<Circle>
{
    static std::string names()
    {
        return "c.number, c.code, c.max_seats, c.tick, c.sender, c.others_tick, c.bytes, "
               "c.busy_until, c.regrouped";
    }
    static constexpr const char *tables = "circle c";
    static auto fields(Circle &c)
    {
        return std::tie(c.number, c.code, c.maxSeats, c.tick, c.sender, c.othersTick, c.bytes,
                        c.busyUntil, c.regrouped);
    }
};

template<>
struct Row<Member>
{
    static std::string names() { return "m.number, m.circle, m.id, m.handle, m.emoji, m.seen"; }
    static constexpr const char *tables = "member m";
    static auto fields(Member &m)
    {
        return std::tie(m.number, m.circle, m.id, m.handle, m.emoji, m.seen);
    }
};

template<>
struct Row<Seat>
{
    static std::string names()
    {
        return Row<Circle>::names() + ", " + Row<Member>::names() + ", m.key";
    }
    static constexpr const char *tables = "member m JOIN circle c ON c.number = m.circle";
    static auto fields(Seat &s)
    {
        return std::tuple_cat(Row<Circle>::fields(s.circle), Row<Member>::fields(s.member),
                              std::tie(s.key));
    }
};

template<>
struct Row<Beam>
{
    static std::string names()
    {
        return "id, from_member, type, body, created_at, from_handle, from_emoji, effect, open_at";
    }
    static constexpr const char *tables = "beam";
    static auto fields(Beam &b)
    {
        return std::tie(b.id, b.fromMember, b.type, b.body, b.createdAt, b.fromHandle, b.fromEmoji,
                        b.effect, b.openAt);
    }
};

template<>
struct Row<BeamSize>
{
    static std::string names() { return "tick, sender, bytes"; }
    static constexpr const char *tables = "beam";
    static auto fields(BeamSize &s) { return std::tie(s.tick, s.sender, s.bytes); }
};

struct FounderKey
{
    std::string key;
};

template<>
struct Row<FounderKey>
{
    static std::string names() { return "founder_key"; }
    static constexpr const char *tables = "circle";
    static auto fields(FounderKey &f) { return std::tie(f.key); }
};

struct NewestTick
{
    Tick tick = 0;
};

template<>
struct Row<NewestTick>
{
    static std::string names() { return "coalesce(max(tick), 0)"; }
    static constexpr const char *tables = "circle";
    static auto fields(NewestTick &n) { return std::tie(n.tick); }
};

// What is read.

struct LatestTick
{
    struct In
    {};
    using Out = NewestTick;
    static constexpr const char *where = "true";
};

struct CircleByCode
{
    struct In
    {
        std::string code;
    };
    using Out = Circle;
    static constexpr const char *where = "c.code = :code";
};

struct SeatOfDevice
{
    struct In
    {
        std::string device;
    };
    using Out = Seat;
    static constexpr const char *where = "m.device_id = :device";
};

struct SeatOfKey
{
    struct In
    {
        std::string key;
    };
    using Out = Seat;
    static constexpr const char *where = "m.key = :key";
};

struct Members
{
    struct In
    {
        std::int64_t circle = 0;
    };
    using Out = Member;
    static constexpr const char *where = "m.circle = :circle ORDER BY m.number";
};

struct SizesAfter
{
    struct In
    {
        std::int64_t circle = 0;
        Tick tick = 0;
        int limit = 0;
    };
    using Out = BeamSize;
    static constexpr const char *where =
        "circle = :circle AND tick > :tick ORDER BY tick LIMIT :limit";
};

struct LatestSizes
{
    struct In
    {
        std::int64_t circle = 0;
        int limit = 0;
    };
    using Out = BeamSize;
    static constexpr const char *where = "circle = :circle ORDER BY tick DESC LIMIT :limit";
};

struct Beams
{
    struct In
    {
        std::int64_t circle = 0;
        Tick after = 0, until = 0;
        std::int64_t exceptSender = 0;
    };
    using Out = Beam;
    static constexpr const char *where = "circle = :circle AND tick > :after AND tick <= :until"
                                         " AND sender <> :sender ORDER BY tick";
};

struct Capsule
{
    struct In
    {
        std::int64_t circle = 0;
        std::string id;
    };
    using Out = Beam;
    static constexpr const char *where = "circle = :circle AND id = :id AND open_at IS NOT NULL";
};

struct KeyOfFounder
{
    struct In
    {
        std::int64_t circle = 0;
        std::string device;
    };
    using Out = FounderKey;
    static constexpr const char *where = "number = :circle AND founder = :device";
};

// What is changed.

struct AddCircle
{
    struct In
    {
        std::optional<std::int64_t> number;
        std::string code;
        std::int64_t maxSeats = 0;
        std::string ownerEmail, founder, founderKey;
        Seconds now = 0;
        Tick tick = 0;
    };
    static constexpr const char *sql =
        "INSERT INTO circle (number, code, max_seats, owner_email, founder, founder_key,"
        " created_at, tick)"
        " VALUES (:number, :code, :seats, :email, :founder, :key, :now, :tick)";
};

struct ForgetFounder
{
    struct In
    {
        std::int64_t circle = 0;
    };
    static constexpr const char *sql =
        "UPDATE circle SET founder = '', founder_key = '' WHERE number = :circle";
};

struct StampCircle
{
    struct In
    {
        Tick tick = 0;
        std::int64_t sender = 0;
        Tick othersTick = 0;
        std::int64_t bytes = 0;
        Seconds busyUntil = 0;
        std::int64_t circle = 0;
    };
    static constexpr const char *sql =
        "UPDATE circle SET tick = :tick, sender = :sender, others_tick = :others,"
        " bytes = :bytes, busy_until = :busy WHERE number = :circle";
};

struct AddMember
{
    struct In
    {
        std::optional<std::int64_t> number;
        std::string id, key;
        std::int64_t circle = 0;
        std::string device, handle, emoji;
        Seconds now = 0, seen = 0;
    };
    static constexpr const char *sql =
        "INSERT INTO member (number, id, key, circle, device_id, handle, emoji, joined_at, seen)"
        " VALUES (:number, :id, :key, :circle, :device, :handle, :emoji, :now, :seen)";
};

struct RenameMember
{
    struct In
    {
        std::string handle, emoji;
        std::int64_t circle = 0, number = 0;
    };
    static constexpr const char *sql = "UPDATE member SET handle = :handle, emoji = :emoji"
                                       " WHERE circle = :circle AND number = :number";
};

struct RemoveMember
{
    struct In
    {
        std::int64_t circle = 0, number = 0;
    };
    static constexpr const char *sql =
        "DELETE FROM member WHERE circle = :circle AND number = :number";
};

struct AddBeam
{
    struct In
    {
        std::string id;
        std::int64_t circle = 0;
        Tick tick = 0;
        Seconds createdAt = 0;
        std::int64_t sender = 0, bytes = 0;
        std::optional<Seconds> openAt;
        std::string type;
        std::optional<std::string> effect;
        std::string fromMember, fromHandle, fromEmoji, body;
    };
    static constexpr const char *sql =
        "INSERT INTO beam (id, circle, tick, created_at, sender, bytes, open_at, type, effect,"
        " from_member, from_handle, from_emoji, body)"
        " VALUES (:id, :circle, :tick, :created, :sender, :bytes, :open, :type, :effect,"
        " :from, :handle, :emoji, :body)";
};

} // namespace kivolo::server::sql
