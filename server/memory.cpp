#include "memory.h"

#include <algorithm>
#include <fstream>
#include <malloc.h>
#include <unistd.h>

namespace kivolo::server {

namespace {

constexpr std::size_t kib = 1 << 10;
constexpr std::size_t mib = 1 << 20;

// The program, its libraries, the stacks of its threads, and what lies unused between allocations.
constexpr std::size_t own = 24 * mib;

// What is kept of a connection that holds nothing: its record, 4 KiB of a request's head, the
// fields that were found in it.
constexpr std::size_t perConnection = 16 * kib;
constexpr std::size_t perEncryptedConnection = 40 * kib;

// A body is there twice where it is taken apart and while it waits for the disk.
constexpr std::size_t copiesOfABody = 2;

constexpr std::size_t largestReplyEver = 90 * mib; // below the 96 MiB that a client takes

} // namespace

MemoryPlan::MemoryPlan(std::size_t bytes, bool encrypted)
{
    const std::size_t part = (std::max(bytes, least) - own) / 9;
    caches = 2 * part;
    connections = 2 * part / (encrypted ? perEncryptedConnection : perConnection);
    received = 2 * part / copiesOfABody;
    replies = 3 * part;
    // Two of them have room at a time, as far as they are from different addresses.
    largestReply = std::min(replies / 3, largestReplyEver);
}

void keepMemoryTight()
{
    // NOLINTBEGIN(concurrency-mt-unsafe): there are no threads yet
    // What is large gets pages of its own, which count only once they are written to and go back
    // when they are freed; else the largest that was ever freed would decide what is large.
    mallopt(M_MMAP_THRESHOLD, 32 * kib);
    mallopt(M_TRIM_THRESHOLD, mib);
    // One for the connections and one for all other threads: each keeps what its busiest moment
    // took.
    mallopt(M_ARENA_MAX, 2);
    // NOLINTEND(concurrency-mt-unsafe)
}

std::size_t residentBytes()
{
    std::size_t all = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

} // namespace kivolo::server
