// What is done to a database as a whole, beside a server or in place of one.
#pragma once

#include "draft.h"
#include "records/records.h"

#include <stop_token>
#include <string>
#include <string_view>

namespace kivolo::server {

// All throw std::runtime_error with one sentence for the operator, and then leave everything as it
// was.

/// Where a server could not use the database. Changes nothing; a file that is still to be created
/// needs only a place.
void checkDatabase(std::string_view database);

/// Copies the database as it is at one moment into a file of SQLite's, whatever its engine is, and
/// sees that the copy is sound. Others may read and write meanwhile as much as they like. Gives up
/// when stopped.
void copyDatabase(std::string_view database, const Draft &to, const std::stop_token &stop = {});

/// The same, to a file that is not there yet.
void backUpDatabase(std::string_view database, const std::string &to);

/// Puts such a copy, of a database of either engine, in the place of the database, which no server
/// may use. That is kept under the name that is returned, or empty where there was none. No beam
/// that is sent from now on is missed by programs that have seen beams which the copy does not
/// have.
std::string restoreDatabase(std::string_view database, const std::string &from, Seconds now);

/// Does what that takes to a database which was put back by other means, and which no server may
/// use.
void advanceTicks(std::string_view database, Seconds now);

} // namespace kivolo::server
