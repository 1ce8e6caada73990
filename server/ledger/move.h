// Carries a database from one engine to the other.
#pragma once

#include "carry.h"

namespace kivolo::server {

/// Copies everything into a database that has no circle yet, reads it again from there and
/// compares. Either all of it is there afterwards or nothing; what it came from stays as it is.
/// Throws std::runtime_error with one sentence for the operator, also where a server is seen to use
/// one of the two.
Carried moveDatabase(const std::string &from, const std::string &to);

} // namespace kivolo::server
