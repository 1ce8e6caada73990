// What a person sees of the program, as the X server tells it.
#pragma once

#include <QColor>
#include <QList>
#include <QRect>

namespace kivolo {

/// The work area of the screen, in pixels from its top left.
QRect workArea();

/// Where the visible cards of the programs of class "kivolo" stand, without their shadows, sorted
/// from the top down and then from the left.
QList<QRect> cardsOnScreen();

/// Where the cards of a program belong: the i-th of the column of popups, from the top; the i-th of
/// the stack of capsules, from the bottom; a buzz once it has come to rest.
QRect popupSlot(int i);
QRect capsuleSlot(int i);
QRect buzzPlace();

/// What shows at `pixel`.
QColor colorOnScreen(const QPoint &pixel);
/// How far the most colourful pixel in `area` is from a grey: 0 not at all, 1 a pure colour.
float mostColorOnScreen(const QRect &area);

} // namespace kivolo
