// What is done to a database as a whole, beside a server or in place of one.
#pragma once

#include <string_view>

namespace kivolo::server {

/// Throws std::runtime_error with one sentence for the operator where a server could not use the
/// database. Changes nothing; one that is still to be created needs only a place.
void checkDatabase(std::string_view database);

} // namespace kivolo::server
