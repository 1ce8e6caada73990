// The pictures that stand for the program on the desktop.
#pragma once

#include <QIcon>

namespace kivolo {

/// For task bars and window lists. Costs some milliseconds.
QIcon applicationIcon();

/// The heart in each size that trays ask for. Its violet stands out from light and from dark trays
/// alike, and its white outline from those in between.
QIcon trayHeart();

} // namespace kivolo
