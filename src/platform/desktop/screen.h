// The part of the desktop that windows may use.
#pragma once

#include "platform/desktop/geometry.h"

#include <optional>

namespace kivolo {

/// The main screen. Main thread only.
class Screen
{
public:
    virtual ~Screen() = default;

    /// The main screen without its panels and docks, read afresh at each call; absent while no
    /// screen is connected.
    virtual std::optional<Rect> visibleFrame() const = 0;
};

/// The screen that the window system calls its primary one.
class SystemScreen final : public Screen
{
public:
    std::optional<Rect> visibleFrame() const override;
};

} // namespace kivolo
