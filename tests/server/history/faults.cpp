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
#include <sys/stat.h>
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

/// How much of what would make the file grow there is room for. What is written over something
/// needs none.
std::size_t granted(int file, std::size_t count, off64_t offset)
{
    struct stat status = {};
    if (faults().room < 0 || ::fstat(file, &status) != 0)
        return count;
    const auto over = std::max<off64_t>(
        0, std::min<off64_t>(status.st_size - offset, static_cast<off64_t>(count)));
    const auto growth = static_cast<std::int64_t>(count) - over;
    const std::int64_t before = faults().room.fetch_sub(growth);
    const std::int64_t room = std::max<std::int64_t>(0, std::min(before, growth));
    faults().room = std::max<std::int64_t>(0, before - growth);
    return static_cast<std::size_t>(over + room);
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

extern "C" int gettimeofday(timeval *time, void *zone) noexcept
{
    static const auto real = next<int (*)(timeval *, void *)>("gettimeofday");
    const int result = real(time, zone);
    if (result == 0)
        time->tv_sec += faults().clockAhead;
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
    const std::size_t some = granted(file, count, offset);
    if (some > 0 || count == 0)
        return real(file, bytes, some, offset);
    errno = ENOSPC;
    return -1;
}
