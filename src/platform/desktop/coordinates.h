// Between the program's coordinates and the window system's.
#pragma once

#include "platform/desktop/geometry.h"

#include <QRect>

namespace kivolo {

/// The program counts from the main screen's bottom-left corner upwards, the window system
/// downwards from the desktop's top-left one. Both count in device-independent pixels. A rectangle
/// of the window system is rounded to whole ones, its size kept.
Rect toProgram(const QRect &desktop);
QRect toDesktop(const Rect &program);

} // namespace kivolo
