// What the fuzz targets share. Each is one function that is given bytes and ends the process where
// something does not hold.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

// Of AddressSanitizer, where there is one.
// NOLINTBEGIN(bugprone-reserved-identifier): its names
using MemoryHook = void(const volatile void *, std::size_t);
extern "C" [[gnu::weak]] int
__sanitizer_install_malloc_and_free_hooks(MemoryHook *taken, void (*given)(const volatile void *));
extern "C" [[gnu::weak]] std::size_t __sanitizer_get_allocated_size(const volatile void *);
// NOLINTEND(bugprone-reserved-identifier)

namespace kivolo::fuzz {

inline std::string_view textOf(const std::uint8_t *data, std::size_t size)
{
    return {reinterpret_cast<const char *>(data), size};
}

/// Ends the process, which is a finding, where it does not hold.
inline void require(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

/// The bytes that were taken since begin(), and the most that were at a time. Without
/// AddressSanitizer the most is only what it was when somebody looked.
class Heap
{
public:
    static void begin()
    {
        static const bool hooked = __sanitizer_install_malloc_and_free_hooks &&
                                   __sanitizer_install_malloc_and_free_hooks(taken, given) > 0;
        counts_ = hooked;
        held_ = most_ = 0;
        base_ = now();
    }
    static std::ptrdiff_t held()
    {
        held_ = counts_ ? held_ : now() - base_;
        most_ = std::max(most_, held_);
        return held_;
    }
    static std::ptrdiff_t most() { return std::max(held(), most_); }

private:
    static std::ptrdiff_t now() { return static_cast<std::ptrdiff_t>(mallinfo2().uordblks); }
    static void taken(const volatile void *, std::size_t bytes)
    {
        held_ += static_cast<std::ptrdiff_t>(bytes);
        most_ = std::max(most_, held_);
    }
    static void given(const volatile void *memory)
    {
        held_ -= static_cast<std::ptrdiff_t>(memory ? __sanitizer_get_allocated_size(memory) : 0);
    }
    static inline bool counts_ = false;
    static inline std::ptrdiff_t base_ = 0, held_ = 0, most_ = 0;
};

} // namespace kivolo::fuzz
