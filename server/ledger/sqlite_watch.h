// What other processes commit to a ledger's file.
#pragma once

#include "ledger.h"
#include "sqlite_queries.h"
#include "sqlite_session.h"

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
    sql::Latest latest() { return *latest_.one({}); }
    void leaveOut(const sql::Latest &latest) { told_ = latest; }

private:
    sql::Select<SqliteConnection, sql::CommitsOfOthers> commits_;
    sql::Select<SqliteConnection, sql::LatestNumbers> latest_;
    sql::Select<SqliteConnection, sql::BeamsBehind> beamsBehind_;
    sql::Select<SqliteConnection, sql::RegroupedBehind> regroupedBehind_;
    std::int64_t seenCommits_ = 0;
    sql::Latest told_;
};

} // namespace kivolo::server
