// Sockets that were opened before the server was started.
#pragma once

#include "listening.h"

namespace kivolo::server::http {

/// What the service manager listens on for this process, as sd_listen_fds(3) describes; to be
/// called once. Throws std::runtime_error with a sentence for the operator where that is nothing,
/// or something that no connections come from.
std::vector<Listenings> inheritedListenings(asio::io_context &context);

} // namespace kivolo::server::http
