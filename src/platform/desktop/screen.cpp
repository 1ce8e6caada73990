#include "platform/desktop/screen.h"

#include "platform/desktop/coordinates.h"
#include "platform/desktop/work_area.h"

#include <QGuiApplication>
#include <QScreen>

namespace kivolo {

namespace {

// Qt leaves panels and docks out of the available area only while there is a single screen, and
// only where the window manager tells it what they leave.
QRect available(const QScreen &screen)
{
    const QRect whole = screen.geometry();
    if (QGuiApplication::screens().size() == 1 && screen.availableGeometry() != whole)
        return screen.availableGeometry();
    // Qt scales the size of a screen but keeps its top-left corner in device pixels.
    const double scale = screen.devicePixelRatio();
    const QRect device(whole.topLeft(), (QSizeF(whole.size()) * scale).toSize());
    const auto usable = window_system::workArea(device);
    if (!usable)
        return screen.availableGeometry();
    const QPointF inset = QPointF(usable->topLeft() - device.topLeft()) / scale;
    const QSizeF size = QSizeF(usable->size()) / scale;
    return QRectF(whole.topLeft() + inset, size).toRect() & whole;
}

} // namespace

SystemScreen::SystemScreen()
    : workArea_(window_system::watchWorkArea([this] { tell(); }))
{
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, &SystemScreen::followPrimary);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, &SystemScreen::tell);
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &SystemScreen::tell);
    followPrimary();
}

SystemScreen::~SystemScreen() = default;

void SystemScreen::followPrimary()
{
    following_ = std::make_unique<QObject>();
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        const auto context = following_.get();
        connect(screen, &QScreen::geometryChanged, context, [this] { tell(); });
        connect(screen, &QScreen::availableGeometryChanged, context, [this] { tell(); });
    }
    tell();
}

void SystemScreen::tell()
{
    if (std::exchange(telling_, true))
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            telling_ = false;
            Q_EMIT changed();
        },
        Qt::QueuedConnection);
}

std::optional<Rect> SystemScreen::visibleFrame() const
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    // While no output is connected Qt keeps a placeholder, a screen without an area.
    if (!screen || screen->availableGeometry().isEmpty())
        return std::nullopt;
    return toProgram(available(*screen));
}

} // namespace kivolo
