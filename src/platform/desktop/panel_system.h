// What a panel needs of the window system beyond what Qt offers. One source file per window system
// implements it; on any other each function does nothing and windows are not blended.
#pragma once

#include <QMargins>
#include <functional>
#include <memory>

class QWindow;

namespace kivolo::panel_system {

/// Whether translucent windows are blended with what lies beneath them at this moment.
bool blendsWindows();

/// A running watch; destroying it ends it.
class BlendingWatch
{
public:
    virtual ~BlendingWatch() = default;
};

/// Calls `changed` from the event loop's thread whenever blendsWindows() may have changed. It may
/// be called inside the delivery of an event, so that it should only schedule work.
std::unique_ptr<BlendingWatch> watchBlending(std::function<void()> changed);

/// Makes the created, hidden window a floating panel: above others, on all desktops, in no task bar
/// or window cycle, without focus. To be called before each time it is shown, because window
/// managers forget what a hidden window was.
void makeFloating(QWindow &window);

/// Tells the window system that the window's outer `margins`, in points, are shadow: not part of
/// the window's frame, and transparent to the mouse.
void setShadowMargins(QWindow &window, const QMargins &margins);

} // namespace kivolo::panel_system
