// What is done to a database in a file as a whole.
#pragma once

#include "draft.h"
#include "records/records.h"

#include <stop_token>
#include <string>

namespace kivolo::server {

// All throw std::runtime_error with the end of a sentence for the operator.

/// Where a server could not use the file.
void checkFile(const std::string &path);

/// Where it is no ledger of this version, or not all of it is there and sound. Gives up when
/// stopped.
void requireWhole(const std::string &path, const std::stop_token &stop = {});

/// Copies the file as it is at this moment, however much is written meanwhile. Gives up when
/// stopped.
void copyFile(const std::string &path, const Draft &to, const std::stop_token &stop = {});

/// Puts a copy of one file, in which circles go on an hour ahead, in the place of another, which no
/// server may use. Returns under which name that is kept, or nothing where there was none.
std::string replaceFile(const std::string &path, const std::string &by, Seconds now);

/// Where SQLite finds the file, whatever is in its path.
std::string uriOf(const std::string &path);
/// The same for one who changes nothing beside it: what has no log is read as it stands.
std::string uriForReading(const std::string &path);

} // namespace kivolo::server
