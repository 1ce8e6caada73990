// The head of a reply, as it stands on the wire.
#pragma once

#include "message.h"

namespace kivolo::server::http {

/// Everything before the body. `date` is the Date header's value; without `keepAlive` it says that
/// the connection ends.
std::string headOf(const Response &response, bool keepAlive, std::string_view date);

} // namespace kivolo::server::http
