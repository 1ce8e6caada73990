// What a server's machine does to it, shared between the program that decides and the library that
// is loaded into the server.
#pragma once

#include <atomic>
#include <cstdint>

namespace kivolo::server::history {

struct Faults
{
    static constexpr const char *variable = "KIVOLO_FAULTS"; ///< Names the file that is mapped.

    std::atomic<std::int64_t> clockAhead{0}; ///< Seconds that the wall clock is ahead by.
    std::atomic<std::int64_t> room{-1};      ///< Bytes that the disk still takes; -1: no bound.
};

} // namespace kivolo::server::history
