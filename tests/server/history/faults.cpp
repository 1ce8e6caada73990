// Loaded into the server before the C library: sets its wall clock and fills its disk. The
// monotonic clock, which timers run on, stays what it is, as on a machine whose clock is set.

#include "faults.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

using kivolo::server::history::Faults;

Faults &faults()
{
    static Faults *const mapped = [] {
        static Faults none;
        const char *path = std::getenv(Faults::variable);
        const int file = path ? ::open(path, O_RDWR | O_CLOEXEC) : -1;
        if (file < 0)
            return &none;
        void *at = ::mmap(nullptr, sizeof(Faults), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        ::close(file);
        return at == MAP_FAILED ? &none : static_cast<Faults *>(at);
    }();
    return *mapped;
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

extern "C" int gettimeofday(timeval *time, void *) noexcept
{
    timespec now = {};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, now.tv_nsec / 1'000};
    return result;
}

extern "C" time_t time(time_t *result) noexcept
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result)
        *result = now.tv_sec;
    return now.tv_sec;
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
