// What a panel and its screen need of the window system beyond what Qt offers. One source file per
// window system implements it; on any other each function does nothing, windows are not blended and
// no work area is known.
#pragma once

#include <QRect>
#include <functional>
#include <memory>
#include <optional>

class QWindow;

namespace kivolo::panel_system {

/// Whether translucent windows are blended with what lies beneath them.
class Blending
{
public:
    virtual ~Blending() = default;
    virtual bool isOn() const = 0;
};

/// Follows the blending until the result is destroyed; `changed` is called from the event loop
/// after each change.
std::unique_ptr<Blending> observeBlending(std::function<void()> changed);

/// Makes the created, hidden window a floating panel: above others, on all desktops, in no task bar
/// or window cycle, without focus. To be called before each time it is shown, because window
/// managers forget what a hidden window was.
void makeFloating(QWindow &window);

/// Tells the window system that all of the window but `card`, in points from its corner, is shadow:
/// not part of the window's frame, and transparent to the mouse. `windowSize` is the size it
/// is meant to have, which a hidden window may not have taken yet.
void setCard(QWindow &window, const QSize &windowSize, const QRect &card);

/// The rectangle that panels and docks leave of the whole desktop, all screens together, in device
/// pixels. Costs a round trip to the window system.
std::optional<QRect> workArea();

} // namespace kivolo::panel_system
