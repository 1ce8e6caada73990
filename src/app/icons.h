// The pictures that stand for the program on the desktop.
#pragma once

#include "platform/desktop/menu_bar_extra.h"

#include <QIcon>

namespace kivolo {

/// For task bars and window lists. Costs some milliseconds.
QIcon applicationIcon();

/// The heart in one colour, as other icons of a tray are, in each size that trays ask for.
MenuBarExtra::Icons trayHeart();

} // namespace kivolo
