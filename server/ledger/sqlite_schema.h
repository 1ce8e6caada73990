// The tables of a ledger, and whether a file can be trusted with them.
#pragma once

#include "schema.h"
#include "sqlite_session.h"

namespace kivolo::server {

/// Whether the file is a ledger's, or a new one. Throws SOCI's errors.
bool isOurs(soci::session &session);

/// In a new file.
void createTablesOfFile(soci::session &session);

/// Creates the tables where they are missing and brings older ones up to date, all or nothing, of
/// which it keeps a copy beside the file. Throws std::runtime_error with a sentence for the
/// operator where the file is damaged or of a version that is not known.
void prepareSchema(SqliteConnection &connection);
/// The same, with versions that there are not yet.
void bringUpToDate(SqliteConnection &connection, const std::vector<Schema::Steps> &trialMigrations);

} // namespace kivolo::server
