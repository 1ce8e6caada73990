#include "sqlite_watch.h"

namespace kivolo::server {

namespace {

/// Changes that are read at a time, and how often before it is simpler to have everyone look.
constexpr int chunk = 1'000;
constexpr int chunks = 10;

} // namespace

SqliteWatch::SqliteWatch(SqliteConnection &connection)
    : commits_(connection)
    , latest_(connection)
    , beamsBehind_(connection)
    , regroupedBehind_(connection)
    , told_(latest())
{}

void SqliteWatch::tellOthers(const Ledger::Observer &observer)
{
    const std::int64_t commits = commits_.one({})->count;
    if (commits == seenCommits_)
        return;
    // Where the latest ones were removed, their numbers are given to others.
    const sql::Latest now = latest();
    const bool shorter = now.beam < told_.beam || now.regrouping < told_.regrouping;
    bool more = true;
    for (int i = 0; i < chunks && more && !shorter; ++i) {
        int found = 0;
        const auto telling = [&](std::int64_t &told) {
            return [&](const auto &numbered) {
                observer.tell(numbered.change);
                told = numbered.number;
                ++found;
            };
        };
        beamsBehind_.forEach({told_.beam, chunk}, telling(told_.beam));
        regroupedBehind_.forEach({told_.regrouping, chunk}, telling(told_.regrouping));
        more = found >= chunk;
    }
    if (more) {
        leaveOut(latest());
        observer.tell({});
    }
    seenCommits_ = commits;
}

} // namespace kivolo::server
