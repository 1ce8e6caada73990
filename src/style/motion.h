// Whether and how long things move.
#pragma once

namespace kivolo::motion {

/// Milliseconds that a change takes which nobody gave a length of its own.
inline constexpr int standard = 350;

/// Whether the desktop asks programs to keep still: changes then happen at once. Part of the
/// application object, which has to exist; main thread only.
bool isReduced();
void setReduced(bool reduced);

} // namespace kivolo::motion
