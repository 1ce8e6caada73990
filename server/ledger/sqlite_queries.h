// The queries that only SQLite is asked, one type each.
#pragma once

#include "queries.h"

namespace kivolo::server::sql {

// What rows are read into.

struct FileSize
{
    std::int64_t bytes = 0;
};

template<>
struct Row<FileSize>
{
    static std::string names() { return "page_count * page_size"; }
    static constexpr const char *tables = "pragma_page_count(), pragma_page_size()";
    static auto fields(FileSize &f) { return std::tie(f.bytes); }
};

struct LastCircle
{
    std::int64_t number = 0;
};

template<>
struct Row<LastCircle>
{
    static std::string names() { return "number"; }
    static constexpr const char *tables = "circle";
    static auto fields(LastCircle &l) { return std::tie(l.number); }
};

struct Commits
{
    std::int64_t count = 0;
};

template<>
struct Row<Commits>
{
    static std::string names() { return "data_version"; }
    static constexpr const char *tables = "pragma_data_version";
    static auto fields(Commits &c) { return std::tie(c.count); }
};

/// Up to which number the changes of both kinds go. The numbers grow with every commit.
struct Latest
{
    std::int64_t beam = 0, regrouping = 0;
};

template<>
struct Row<Latest>
{
    static std::string names()
    {
        return "coalesce((SELECT max(number) FROM beam), 0),"
               " coalesce((SELECT max(regrouped) FROM circle), 0)";
    }
    static constexpr const char *tables = "(SELECT 0)";
    static auto fields(Latest &l) { return std::tie(l.beam, l.regrouping); }
};

struct NewBeam
{
    std::int64_t number = 0;
    Change change;
};

template<>
struct Row<NewBeam>
{
    static std::string names() { return "number, circle, sender, tick"; }
    static constexpr const char *tables = "beam";
    static auto fields(NewBeam &b)
    {
        return std::tie(b.number, b.change.circle, b.change.sender, b.change.tick);
    }
};

struct NewMembers
{
    std::int64_t number = 0;
    Change change;
};

template<>
struct Row<NewMembers>
{
    static std::string names() { return "regrouped, number"; }
    static constexpr const char *tables = "circle";
    static auto fields(NewMembers &m) { return std::tie(m.number, m.change.circle); }
};

// What is read.

/// Where it differs from before, others have committed.
struct CommitsOfOthers
{
    struct In
    {};
    using Out = Commits;
    static constexpr const char *where = "true";
};

struct LatestNumbers
{
    struct In
    {};
    using Out = Latest;
    static constexpr const char *where = "true";
};

struct BeamsBehind
{
    struct In
    {
        std::int64_t number = 0;
        int limit = 0;
    };
    using Out = NewBeam;
    static constexpr const char *where = "number > :number ORDER BY number LIMIT :limit";
};

struct RegroupedBehind
{
    struct In
    {
        std::int64_t number = 0;
        int limit = 0;
    };
    using Out = NewMembers;
    static constexpr const char *where = "regrouped > :number ORDER BY regrouped LIMIT :limit";
};

struct LastOfCircles
{
    struct In
    {};
    using Out = LastCircle;
    static constexpr const char *where = "true ORDER BY number DESC LIMIT 1";
};

/// What the file is or, when all is in it that is in the log, will be.
struct SizeOfFile
{
    struct In
    {};
    using Out = FileSize;
    static constexpr const char *where = "true";
};

// What is changed.

struct MarkSeen
{
    struct In
    {
        Seconds seen = 0;
        std::int64_t circle = 0, member = 0;
    };
    static constexpr const char *sql =
        "UPDATE member SET seen = :seen WHERE circle = :circle AND number = :member";
};

/// To be done with every change of a circle's members.
struct Regroup
{
    struct In
    {
        std::int64_t circle = 0;
    };
    static constexpr const char *sql =
        "UPDATE circle SET regrouped = (SELECT max(regrouped) FROM circle) + 1"
        " WHERE number = :circle";
};

} // namespace kivolo::server::sql
