// How large the floating cards are and where they stand.
#pragma once

#include "platform/desktop/geometry.h"

#include <QSize>
#include <array>
#include <chrono>
#include <cstddef>

namespace kivolo::placement {

/// How large they are, in points.
inline constexpr QSize popupSize(300, 150);
inline constexpr QSize buzzSize(420, 200);
inline constexpr QSize capsuleSize(290, 92);

/// All of these take the main screen's visible frame and count slots from 0.

/// A popup: a column that grows downwards from the top-right corner, and on past the bottom edge.
Rect popup(const Rect &visibleFrame, std::size_t slot);

/// A buzz, at rest: the middle of the screen.
Rect buzz(const Rect &visibleFrame);

/// A capsule: a stack that grows upwards from the bottom-right corner.
Rect capsule(const Rect &visibleFrame, std::size_t slot);

/// How far right of its place a buzz stands at each step of its shake.
constexpr std::array<double, 13> shakeOffsets = {-26, 26,  -24, 24, -20, 20, -15,
                                                 15,  -10, 10,  -5, 5,   0};
constexpr std::chrono::milliseconds shakeInterval{45};

} // namespace kivolo::placement
