#include "platform/desktop/coordinates.h"

#include <QGuiApplication>
#include <QScreen>

namespace kivolo {

namespace {

// Where the program's origin lies on the desktop.
QPoint origin()
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    const QRect whole = screen ? screen->geometry() : QRect();
    return {whole.left(), whole.top() + whole.height()};
}

} // namespace

Rect toProgram(const QRect &desktop)
{
    const QPoint zero = origin();
    return {double(desktop.left() - zero.x()), double(zero.y() - desktop.top() - desktop.height()),
            double(desktop.width()), double(desktop.height())};
}

QRect toDesktop(const Rect &program)
{
    const QPoint zero = origin();
    return {zero.x() + qRound(program.minX()), zero.y() - qRound(program.maxY()),
            qRound(program.width), qRound(program.height)};
}

} // namespace kivolo
