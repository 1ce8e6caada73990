// Memory that runs out when a test wants it to.
#pragma once

#include <cstddef>

namespace kivolo::server::test {

/// From now on each `new` of that many bytes or more fails on the calling thread; 0: none.
void failAllocations(std::size_t bytesAtLeast);

} // namespace kivolo::server::test
