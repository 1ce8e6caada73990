// What is done to a database in PostgreSQL as a whole.
#pragma once

#include "draft.h"
#include "postgres_session.h"
#include "records/records.h"

#include <stop_token>

namespace kivolo::server {

// Both throw std::runtime_error with the end of a sentence for the operator.

/// Copies the database as it is at one moment to a file like those of SQLite. Servers go on
/// meanwhile. Gives up when stopped.
void copyPostgres(const PostgresAddress &address, const Draft &to, const std::stop_token &stop);

/// Puts what is in a file, in which circles go on an hour ahead, in the place of what is in the
/// database, which no server may use; all of it or nothing. Returns which schema keeps that, or
/// nothing where no circle was in it.
std::string replacePostgres(const std::string &database, const std::string &by, Seconds now);

} // namespace kivolo::server
