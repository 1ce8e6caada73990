// The tables of a ledger in PostgreSQL.
#pragma once

#include "postgres_session.h"
#include "schema.h"

namespace kivolo::server {

/// Creates the tables where they are missing and brings older ones up to date, all or nothing.
/// Throws std::runtime_error with a sentence for the operator where they are of a version that is
/// not known, and LedgerUnavailable.
void prepareSchema(const PostgresAddress &address, std::chrono::milliseconds patience,
                   const std::vector<Schema::Steps> &trialMigrations);

/// For a transaction in which there are none.
void createTablesOfPostgres(soci::session &session);

/// Throws as prepareSchema() would, and changes nothing.
void checkSchema(const PostgresAddress &address);

/// Until the transaction ends, nobody who begins to use the tables gets further than to ask for
/// their version.
void keepOthersFromStarting(soci::session &session);

/// Throws std::runtime_error with a sentence where the tables are of another version.
void requireThisVersion(soci::session &session);

} // namespace kivolo::server
