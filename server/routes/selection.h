// How much of something that lies here a request is to be sent.
#pragma once

#include "http/message.h"

namespace kivolo::server {

/// As HTTP/1.1 has it. With status 200 all of it is sent, with 206 that part; with 304 the asker
/// has it already, with 416 it has no such part, and nothing is sent.
struct Selection
{
    unsigned status = 200;
    std::uint64_t start = 0;
    std::uint64_t size = 0;
};

/// Of something of that size whose strong tag, quotes included, is `tag`. A request for several
/// parts at a time, or for one that is not spelled right, gets all of it.
Selection selected(const http::Request &request, std::string_view tag, std::uint64_t size);

} // namespace kivolo::server
