#include "platform/desktop/screen.h"

#include "platform/desktop/coordinates.h"

#include <QGuiApplication>
#include <QScreen>

namespace kivolo {

std::optional<Rect> SystemScreen::visibleFrame() const
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    // While no output is connected Qt keeps a placeholder, a screen without an area.
    if (!screen || screen->availableGeometry().isEmpty())
        return std::nullopt;
    return toProgram(screen->availableGeometry());
}

} // namespace kivolo
