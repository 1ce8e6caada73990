// The queries that only PostgreSQL is asked, one type each.
#pragma once

#include "queries.h"

namespace kivolo::server::sql {

// What rows are read into.

struct NewNumber
{
    std::int64_t number = 0;
};

template<>
struct Row<NewNumber>
{
    static std::string names() { return "nextval('circle_number')"; }
    static constexpr const char *tables = "(SELECT 1) AS once";
    static auto fields(NewNumber &n) { return std::tie(n.number); }
};

struct NumbersGiven
{
    std::int64_t last = 0;
};

template<>
struct Row<NumbersGiven>
{
    static std::string names() { return "last_value"; }
    static constexpr const char *tables = "circle_number";
    static auto fields(NumbersGiven &n) { return std::tie(n.last); }
};

struct Locked
{
    std::int64_t circle = 0;
};

template<>
struct Row<Locked>
{
    static std::string names() { return "c.number"; }
    static constexpr const char *tables = "circle c";
    static auto fields(Locked &l) { return std::tie(l.circle); }
};

struct Regrouping
{
    std::int64_t count = 0;
};

template<>
struct Row<Regrouping>
{
    static std::string names() { return "regrouped"; }
    static constexpr const char *tables = "circle";
    static auto fields(Regrouping &r) { return std::tie(r.count); }
};

struct DatabaseSize
{
    std::int64_t bytes = 0;
};

template<>
struct Row<DatabaseSize>
{
    static std::string names() { return "pg_database_size(current_database())"; }
    static constexpr const char *tables = "(SELECT 1) AS once";
    static auto fields(DatabaseSize &s) { return std::tie(s.bytes); }
};

// What is read.

struct NextCircle
{
    struct In
    {};
    using Out = NewNumber;
    static constexpr const char *where = "true";
};

/// At most one more than there are circles.
struct CirclesNumbered
{
    struct In
    {};
    using Out = NumbersGiven;
    static constexpr const char *where = "true";
};

/// The circles of those seats, devices and codes, which are arrays in PostgreSQL's notation, locked
/// until the transaction ends; all in one order, so that no two transactions wait for each other.
struct LockCircles
{
    struct In
    {
        std::string seatKeys, devices, codes;
    };
    using Out = Locked;
    static constexpr const char *where =
        "c.number IN (SELECT k.circle FROM member k WHERE k.key = ANY(CAST(:keys AS TEXT[]))"
        " UNION ALL"
        " SELECT d.circle FROM member d WHERE d.device_id = ANY(CAST(:devices AS TEXT[]))"
        " UNION ALL SELECT n.number FROM circle n WHERE n.code = ANY(CAST(:codes AS TEXT[])))"
        " ORDER BY c.number FOR UPDATE";
};

struct RegroupingsOf
{
    struct In
    {
        std::int64_t circle = 0;
    };
    using Out = Regrouping;
    static constexpr const char *where = "number = :circle";
};

/// As they are now. An array again.
struct CirclesNow
{
    struct In
    {
        std::string numbers;
    };
    using Out = Circle;
    static constexpr const char *where = "c.number = ANY(CAST(:numbers AS BIGINT[]))";
};

struct SizeOfDatabase
{
    struct In
    {};
    using Out = DatabaseSize;
    static constexpr const char *where = "true";
};

// What is changed.

/// Whoever is just being renamed or removed is left out: that waits for nobody, whatever the order
/// in which members are named.
struct MarkSeenUnlessLocked
{
    struct In
    {
        Seconds seen = 0;
        std::int64_t circle = 0, member = 0;
    };
    static constexpr const char *sql =
        "UPDATE member SET seen = :seen WHERE (circle, number) IN (SELECT circle, number"
        " FROM member WHERE circle = :circle AND number = :member FOR UPDATE SKIP LOCKED)";
};

/// To be done with every change of a circle's members.
struct CountRegrouping
{
    struct In
    {
        std::int64_t circle = 0;
    };
    static constexpr const char *sql =
        "UPDATE circle SET regrouped = regrouped + 1 WHERE number = :circle";
};

} // namespace kivolo::server::sql
