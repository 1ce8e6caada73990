// What a server's machine does to it, shared between the program that decides and the library that
// is loaded into the server.
#pragma once

#include <atomic>
#include <cstdint>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace kivolo::server::history {

struct Faults
{
    static constexpr const char *variable = "KIVOLO_FAULTS"; ///< Names the file that is mapped.

    std::atomic<std::int64_t> clockAhead{0}; ///< Seconds that the wall clock is ahead by.
    std::atomic<std::int64_t> room{-1};      ///< Bytes that the disk still takes; -1: no bound.
};

/// What lies in that file, which is made where it is missing, or none.
inline void *mapFaults(const char *path)
{
    const int file = ::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0 || ::ftruncate(file, sizeof(Faults)) != 0)
        return nullptr;
    void *at = ::mmap(nullptr, sizeof(Faults), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ::close(file);
    return at == MAP_FAILED ? nullptr : at;
}

} // namespace kivolo::server::history
