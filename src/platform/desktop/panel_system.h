// What windows and their screen need of the window system beyond what Qt offers. One source file
// per window system implements it; on any other each function does nothing unless it says so,
// nothing is present and no work area is known.
#pragma once

#include <QMargins>
#include <QRect>
#include <functional>
#include <memory>
#include <optional>

class QWindow;

namespace kivolo::panel_system {

/// Something that is done until this is destroyed.
class Watch
{
public:
    virtual ~Watch() = default;
};

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

/// Makes the created, hidden window a notification in the eyes of the window system. It has to be
/// one that window managers do not manage (Qt::BypassWindowManagerHint): those that do would tile
/// it, push it back onto the screen, give it the focus or put full-screen windows above it.
void makeFloating(QWindow &window);

/// Puts a floating window that is about to be shown in front of every window that the window
/// manager manages, and again whenever one of those is raised over it. The last one is the front
/// one of several. Menus, screen locks and whatever else is not managed stay where they are, and
/// a full-screen one of them is not covered even when nothing is managed.
std::unique_ptr<Watch> keepInFront(QWindow &window);

/// Brings a shown window to the virtual desktop that the user looks at, in front of all others,
/// with the focus, as the user's own demand: other programs' claims to the focus do not count.
/// Where the window system is not known, it asks for the focus as any program may.
void bringToUser(QWindow &window);

/// Tells the window system that what surrounds the card is shadow: not part of the window's frame,
/// and transparent to the mouse. In points.
void setCard(QWindow &window, const QSize &card, const QMargins &shadow);

/// Asks for blur beneath the card, in points from the window's corner, or for none any more.
void setBlur(QWindow &window, const QRect &card, double cornerRadius, bool blurred);

/// What panels and docks leave of a screen. Both in device pixels of the whole
/// desktop. Costs a few round trips to the window system.
std::optional<QRect> workArea(const QRect &screen);

/// Calls `changed` from the event loop when workArea() may have become another.
std::unique_ptr<Watch> watchWorkArea(std::function<void()> changed);

} // namespace kivolo::panel_system
