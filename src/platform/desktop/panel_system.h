// What windows and their screen need of the window system beyond what Qt offers. One source file
// per window system implements it; on any other each function does nothing unless it says so,
// nothing is present and no work area is known.
#pragma once

#include <QRect>
#include <functional>
#include <memory>
#include <optional>

class QWindow;

namespace kivolo::panel_system {

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

/// The one that shows the small windows of other programs as icons; likewise.
std::unique_ptr<Presence> observeTray(std::function<void()> changed);

/// Makes the created, hidden window a floating panel: above others, on all desktops, in no task bar
/// or window cycle, without focus. To be called before each time it is shown, because window
/// managers forget what a hidden window was.
void makeFloating(QWindow &window);

/// Brings a shown window to the virtual desktop that the user looks at, in front of all others,
/// with the focus, as the user's own demand: other programs' claims to the focus do not count.
/// Where the window system is not known, it asks for the focus as any program may.
void bringToUser(QWindow &window);

/// Tells the window system that all of the window but `card`, in points from its corner, is shadow:
/// not part of the window's frame, and transparent to the mouse. `windowSize` is the size it
/// is meant to have, which a hidden window may not have taken yet.
void setCard(QWindow &window, const QSize &windowSize, const QRect &card);

/// The rectangle that panels and docks leave of the whole desktop, all screens together, in device
/// pixels. Costs a round trip to the window system.
std::optional<QRect> workArea();

} // namespace kivolo::panel_system
