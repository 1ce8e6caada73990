// The menu behind the three dots.
#pragma once

#include <QString>
#include <functional>

class QMenu;

namespace kivolo {

class Button;

/// A plain button with three white dots that opens `menu`, which it takes.
Button *overflowMenu(QMenu *menu);

/// Adds an item that takes something away, and says so by its colour.
void addDestructiveAction(QMenu *menu, const QString &text, std::function<void()> action);

} // namespace kivolo
