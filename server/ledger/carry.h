// Copies what is in one database into another, row by row.
#pragma once

#include "records/records.h"

#include <functional>
#include <string>

namespace soci {
class session;
}

namespace kivolo::server {

/// What was carried.
struct Carried
{
    std::int64_t circles = 0, members = 0, beams = 0;
};

/// A connection in a transaction. A file numbers the members of all circles together, PostgreSQL
/// those of each by itself.
struct Side
{
    soci::session &session;
    bool isFile = false;

    /// What that query tells.
    std::int64_t number(const std::string &sql) const;
};

/// Copies everything to where there is no circle yet, reads it again from there and compares. The
/// circles' next beams come behind that tick. `step` is called at every row, and ends it all by
/// what it throws. Throws std::runtime_error with a sentence for the operator, and SOCI's errors.
Carried carryAll(
    Side from, Side to, Tick behind = 0, const std::function<void()> &step = [] {});

} // namespace kivolo::server
