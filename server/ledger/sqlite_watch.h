// What other processes commit to a ledger's file.
#pragma once

#include "sqlite_queries.h"

namespace kivolo::server {

/// Knows which beams and changes of members have been told. It belongs to the connection that
/// writes: the counter of commits that SQLite keeps for a connection leaves out those of its own.
class SqliteWatch
{
public:
    explicit SqliteWatch(SqliteConnection &connection);

    /// Tells, in the order of commits, what others have committed since it was last asked. Where
    /// that is too much to be told one by one, a single change says that anything may have changed.
    /// Costs next to nothing where there is nothing to tell. Throws LedgerUnavailable.
    void tellOthers(const Ledger::Observer &observer);

    /// Whatever has been committed up to now, and what an open transaction is about to commit, is
    /// not to be told any more. That transaction has to succeed.
    sqlite::Latest latest() { return *latest_.one({}); }
    void leaveOut(const sqlite::Latest &latest) { told_ = latest; }

private:
    sqlite::Select<sqlite::CommitsOfOthers> commits_;
    sqlite::Select<sqlite::LatestNumbers> latest_;
    sqlite::Select<sqlite::BeamsBehind> beamsBehind_;
    sqlite::Select<sqlite::RegroupedBehind> regroupedBehind_;
    std::int64_t seenCommits_ = 0;
    sqlite::Latest told_;
};

} // namespace kivolo::server
