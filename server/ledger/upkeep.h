// What is done to a database as a whole, beside a server or in place of one.
#pragma once

#include "records/records.h"

#include <stop_token>
#include <string>
#include <string_view>

namespace kivolo::server {

/// Throws std::runtime_error with one sentence for the operator where a server could not use the
/// database. Changes nothing; one that is still to be created needs only a place.
void checkDatabase(std::string_view database);

// The following are for databases in a file. They throw std::runtime_error with one sentence for
// the operator, and then leave everything as it was.

/// Copies the database as it is at this moment to a file that is not there yet, and sees that the
/// copy is sound. Others may read and write meanwhile as much as they like. Gives up when stopped.
void backUpDatabase(std::string_view database, const std::string &to,
                    const std::stop_token &stop = {});

/// Puts a backup in the place of the database, which no server may use. That is kept beside it
/// under the name that is returned, or empty where there was none. No beam that is sent from now on
/// is missed by programs that have seen beams which the backup does not have.
std::string restoreDatabase(std::string_view database, const std::string &from, Seconds now);

} // namespace kivolo::server
