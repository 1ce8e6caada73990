// The program's heap as a guest of the machine's memory.
#pragma once

namespace kivolo::heap {

/// Has all threads share one heap: they take turns, so heaps of their own would only keep memory
/// from one another. Call it while there is one thread yet.
void share();

/// Gives back to the system what lies free in the heap. Takes some tenths of a millisecond.
void giveBack();

} // namespace kivolo::heap
