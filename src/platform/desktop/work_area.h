// What panels and docks leave of one of several screens, by what they reserve on the whole desktop.
#pragma once

#include "platform/desktop/watch.h"

#include <QRect>
#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace kivolo {

/// What a panel keeps for itself along the edges of the desktop, in device pixels.
struct Strut
{
    /// How far it reaches from the desktop's left, right, top and bottom edge. One that stands at
    /// an edge between two screens reaches across a whole screen to there.
    std::array<int, 4> reach{};
    /// From where to where along each of these edges, both ends included: y for the first two,
    /// x for the last two.
    std::array<std::array<int, 2>, 4> extent{};
};

/// The rest of `screen` on a desktop of that size. What takes all of a screen's width or height is
/// meant for another one behind it.
QRect withoutStruts(const QRect &screen, const QSize &desktop, std::span<const Strut> struts);

/// The one of `areas`, one for each screen, that lies on `screen`; none if none does.
std::optional<QRect> areaOn(const QRect &screen, std::span<const QRect> areas);

} // namespace kivolo

/// One source file per window system implements these; on any other no work area is known.
namespace kivolo::window_system {

/// What panels and docks leave of a screen. Both in device pixels of the whole
/// desktop. Costs a few round trips to the window system.
std::optional<QRect> workArea(const QRect &screen);

/// Calls `changed` from the event loop when workArea() may have become another.
std::unique_ptr<Watch> watchWorkArea(std::function<void()> changed);

} // namespace kivolo::window_system
