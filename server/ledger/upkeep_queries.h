// The queries that engines have in common and operators need, one type each.
#pragma once

#include "ledger.h"
#include "query.h"

namespace kivolo::server::sql {

// What rows are read into.

template<>
struct Row<CircleSummary>
{
    static std::string names()
    {
        return "c.number, c.code, c.max_seats,"
               " (SELECT count(*) FROM member m WHERE m.circle = c.number), c.bytes, c.created_at,"
               " coalesce((SELECT max(m.seen) FROM member m WHERE m.circle = c.number), c.tick)";
    }
    static constexpr const char *tables = "circle c";
    static auto fields(CircleSummary &c)
    {
        return std::tie(c.number, c.code, c.maxSeats, c.members, c.bytes, c.created, c.lastUse);
    }
};

template<>
struct Row<Sent>
{
    static std::string names()
    {
        return "sender, count(*), CAST(coalesce(sum(bytes), 0) AS bigint)";
    }
    static constexpr const char *tables = "beam";
    static auto fields(Sent &s) { return std::tie(s.sender, s.beams, s.bytes); }
};

struct Number
{
    std::int64_t value = 0;
};

/// How many beams there are of that kind.
struct BeamCount : Number
{};

template<>
struct Row<BeamCount>
{
    static std::string names() { return "count(*)"; }
    static constexpr const char *tables = "beam";
    static auto fields(BeamCount &n) { return std::tie(n.value); }
};

struct Opening : Number
{};

template<>
struct Row<Opening>
{
    static std::string names() { return "coalesce(max(open_at), 0)"; }
    static constexpr const char *tables = "beam";
    static auto fields(Opening &n) { return std::tie(n.value); }
};

// What is read.

struct CirclesAfter
{
    struct In
    {
        std::int64_t number = 0;
        int limit = 0;
    };
    using Out = CircleSummary;
    static constexpr const char *where = "c.number > :number ORDER BY c.number LIMIT :limit";
};

struct SentTo
{
    struct In
    {
        std::int64_t circle = 0;
    };
    using Out = Sent;
    static constexpr const char *where = "circle = :circle GROUP BY sender ORDER BY sender";
};

struct LastOpening
{
    struct In
    {
        std::int64_t circle = 0;
    };
    using Out = Opening;
    static constexpr const char *where = "circle = :circle AND open_at IS NOT NULL";
};

struct BeamsOf
{
    struct In
    {
        std::int64_t circle = 0;
        Tick after = 0, until = 0;
        std::int64_t sender = 0;
    };
    using Out = Beam;
    static constexpr const char *where = "circle = :circle AND tick > :after AND tick <= :until"
                                         " AND sender = :sender ORDER BY tick";
};

constexpr const char *removed =
    "circle = :circle AND tick > :after AND tick <= :until AND sender >= :first"
    " AND sender <= :last AND created_at < :sent AND (open_at IS NULL OR open_at < :opened)";

struct BeamsToRemove
{
    using In = Removal;
    using Out = BeamCount;
    static constexpr const char *where = removed;
};

// What is changed.

struct RemoveBeams
{
    using In = Removal;
    inline static const std::string sql = std::string("DELETE FROM beam WHERE ") + removed;
};

struct CountBytes
{
    struct In
    {
        std::int64_t circle = 0, same = 0;
    };
    static constexpr const char *sql = "UPDATE circle SET bytes = (SELECT coalesce(sum(bytes), 0) "
                                       "FROM beam WHERE circle = :circle)"
                                       " WHERE number = :same";
};

struct ChangeCode
{
    struct In
    {
        std::string code;
        std::int64_t circle = 0;
    };
    static constexpr const char *sql = "UPDATE circle SET code = :code WHERE number = :circle";
};

struct RemoveCircle
{
    struct In
    {
        std::int64_t circle = 0;
    };
    static constexpr const char *sql = "DELETE FROM circle WHERE number = :circle";
};

} // namespace kivolo::server::sql
