#include "platform/foundation/heap.h"

#include <cstdlib> // says which C library it is
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace kivolo::heap {

void share()
{
#ifdef __GLIBC__
    mallopt(M_ARENA_MAX, 1); // NOLINT(concurrency-mt-unsafe): there is one thread yet
#endif
}

void giveBack()
{
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

} // namespace kivolo::heap
