// The programs that serve the whole desktop.
#pragma once

#include <functional>
#include <memory>

/// One source file per window system implements these; on any other nothing is present.
namespace kivolo::window_system {

/// A program that serves the whole desktop and may come and go. Followed until this is destroyed.
class Presence
{
public:
    virtual ~Presence() = default;
    virtual bool isThere() const = 0;
};

/// The one that blends translucent windows with what lies beneath them. `changed` is called from
/// the event loop after each change.
std::unique_ptr<Presence> observeCompositor(std::function<void()> changed);

/// The part of the compositor that blurs what lies beneath a window, where it has one; likewise.
std::unique_ptr<Presence> observeBlur(std::function<void()> changed);

/// The one that shows the small windows of other programs as icons; likewise.
std::unique_ptr<Presence> observeTray(std::function<void()> changed);

} // namespace kivolo::window_system
