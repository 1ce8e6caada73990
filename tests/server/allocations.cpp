#include "allocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t failFrom = 0; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

} // namespace

void *operator new(std::size_t bytes)
{
    void *memory = failFrom != 0 && bytes >= failFrom ? nullptr : std::malloc(bytes);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace kivolo::server::test {

void failAllocations(std::size_t bytesAtLeast)
{
    failFrom = bytesAtLeast;
}

} // namespace kivolo::server::test
