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

/// Throws as prepareSchema() would, and changes nothing.
void checkSchema(const PostgresAddress &address);

} // namespace kivolo::server
