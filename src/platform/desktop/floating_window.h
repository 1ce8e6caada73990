// What a window that floats needs of the window system beyond what Qt offers.
#pragma once

#include "platform/desktop/watch.h"

#include <QMargins>
#include <QRect>
#include <memory>

class QWindow;

/// One source file per window system implements these; on any other each function does nothing.
namespace kivolo::window_system {

/// Makes the created, hidden window a notification in the eyes of the window system. It has to be
/// one that window managers do not manage (Qt::BypassWindowManagerHint): those that do would tile
/// it, push it back onto the screen, give it the focus or put full-screen windows above it.
void makeFloating(QWindow &window);

/// Puts a floating window that is about to be shown in front of every window that the window
/// manager manages, and again whenever one of those is raised over it. The last one is the front
/// one of several. Menus, screen locks and whatever else is not managed stay where they are, and
/// a full-screen one of them is not covered even when nothing is managed.
std::unique_ptr<Watch> keepInFront(QWindow &window);

/// Tells the window system that what surrounds the card is shadow: not part of the window's frame,
/// and transparent to the mouse. In points.
void setCard(QWindow &window, const QSize &card, const QMargins &shadow);

/// Asks for blur beneath the card, in points from the window's corner, or for none any more.
void setBlur(QWindow &window, const QRect &card, double cornerRadius, bool blurred);

} // namespace kivolo::window_system
