// The tables of a ledger, and whether a file can be trusted with them.
#pragma once

#include "sqlite_session.h"

namespace kivolo::server {

/// Whether the file is a ledger's, or a new one. Throws SOCI's errors.
bool isOurs(soci::session &session);

/// Creates the tables where they are missing. Throws std::runtime_error with a sentence for the
/// operator where the file is damaged or was made by another version.
void prepareSchema(SqliteConnection &connection);

} // namespace kivolo::server
