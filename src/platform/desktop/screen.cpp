#include "platform/desktop/screen.h"

#include "platform/desktop/coordinates.h"
#include "platform/desktop/panel_system.h"

#include <QGuiApplication>
#include <QScreen>

namespace kivolo {

namespace {

// Qt leaves panels and docks out of the available area only while there is a single screen.
QRect availableAmongSeveral(const QScreen &screen)
{
    const QRect whole = screen.geometry();
    const auto workArea = panel_system::workArea();
    if (!workArea)
        return screen.availableGeometry();
    // Qt scales the size of a screen but keeps its top-left corner in device pixels.
    const double scale = screen.devicePixelRatio();
    const QRect device(whole.topLeft(), (QSizeF(whole.size()) * scale).toSize());
    const QRect usable = device & *workArea;
    if (usable.isEmpty())
        return whole;
    const QPointF inset = QPointF(usable.topLeft() - device.topLeft()) / scale;
    const QSizeF size = QSizeF(usable.size()) / scale;
    return QRectF(whole.topLeft() + inset, size).toRect() & whole;
}

} // namespace

std::optional<Rect> SystemScreen::visibleFrame() const
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    // While no output is connected Qt keeps a placeholder, a screen without an area.
    if (!screen || screen->availableGeometry().isEmpty())
        return std::nullopt;
    return toProgram(QGuiApplication::screens().size() > 1 ? availableAmongSeveral(*screen)
                                                           : screen->availableGeometry());
}

} // namespace kivolo
