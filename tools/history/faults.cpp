// Loaded into the server before the C library: sets its wall clock and fills its disk. The
// monotonic clock, which timers run on, stays what it is, as on a machine whose clock is set.

#include "faults.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>

namespace {

using kivolo::server::history::Faults;

Faults &faults()
{
    static Faults none;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody sets it here
    static const char *const path = std::getenv(Faults::variable);
    static void *const mapped = path ? kivolo::server::history::mapFaults(path) : nullptr;
    return mapped ? *static_cast<Faults *>(mapped) : none;
}

template<typename Function>
Function next(const char *name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

/// How much of that there is room for. What is written over something needs some as well, as on a
/// file system that copies on writing.
std::size_t granted(std::size_t count)
{
    const std::int64_t room = faults().room;
    if (room < 0)
        return count;
    const std::size_t some = std::min(count, static_cast<std::size_t>(room));
    faults().room -= static_cast<std::int64_t>(some);
    return some;
}

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    static const auto real = next<int (*)(clockid_t, timespec *)>("clock_gettime");
    const int result = real(clock, time);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE))
        time->tv_sec += faults().clockAhead;
    return result;
}

extern "C" ssize_t pwrite64(int file, const void *bytes, size_t count, off64_t offset)
{
    static const auto real = next<ssize_t (*)(int, const void *, size_t, off64_t)>("pwrite64");
    const std::size_t some = granted(count);
    if (some > 0 || count == 0)
        return real(file, bytes, some, offset);
    errno = ENOSPC;
    return -1;
}
