// What becomes of the memory that the operator gives.
#pragma once

#include <cstddef>

namespace kivolo::server {

/// How the process stays below so many bytes: the sum of these parts at their fullest, each for
/// what strangers can make it keep, and what the program needs for itself.
struct MemoryPlan
{
    static constexpr std::size_t least = std::size_t(96) << 20;

    /// `encrypted`: connections speak TLS, whose state takes more than all else that is kept of
    /// one.
    MemoryPlan(std::size_t bytes, bool encrypted);

    std::size_t caches = 0;      ///< What is kept of the database.
    std::size_t connections = 0; ///< How many.
    std::size_t received = 0;    ///< Of requests that are coming in or being answered.
    std::size_t replies = 0;     ///< Of what is read from the database until it is written.
    std::size_t largestReply = 0;
};

/// Makes the allocator give back what is freed. To be called before any thread is started.
void keepMemoryTight();

/// What the process takes now; 0 where the system does not tell.
std::size_t residentBytes();

} // namespace kivolo::server
