#include "app/main_window.h"

#include <QAccessibleWidget>
#include <QGuiApplication>
#include <QHideEvent>
#include <QScreen>
#include <QVBoxLayout>
#include <QWindow>
#include <algorithm>
#include <utility>

namespace kivolo {

static constexpr QSize leastSize(420, 560);
static constexpr QSize idealSize(520, 720);

/// Qt knows a window for what it is only if it is one of its own kinds.
static QAccessibleInterface *accessibleWindow(const QString &, QObject *object)
{
    auto *window = qobject_cast<MainWindow *>(object);
    return window ? new QAccessibleWidget(window, QAccessible::Window) : nullptr;
}

MainWindow::MainWindow(ContentFactory makeContent)
    : makeContent_(std::move(makeContent))
{
    QAccessible::installFactory(accessibleWindow);
    setWindowTitle(QStringLiteral("Kivolo"));
    setObjectName(QStringLiteral("main"));
    setWindowRole(QStringLiteral("main"));
    resize(idealSize);
}

void MainWindow::showEvent(QShowEvent *event)
{
    if (makeContent_)
        makeContent();
    if (place_)
        standAt(onScreen({*place_, size()}));
    fitToScreen();
    QWidget::showEvent(event);
}

// The window manager chooses a place for a window whose place nobody has chosen, and Qt
// does not count it as chosen when it differs from the present one only by that.
void MainWindow::standAt(const QPoint &place)
{
    setGeometry({place, size()});
    windowHandle()->setPosition(place);
    wanted_ = place;
}

// Some window managers put the frame's corner where the content's was asked for.
void MainWindow::correctPlace()
{
    if (!wanted_ || windowHandle()->frameMargins().isNull())
        return;
    if (const QPoint place = *std::exchange(wanted_, std::nullopt); geometry().topLeft() != place)
        windowHandle()->setPosition(place);
}

// A screen may have gone while the window was closed.
QPoint MainWindow::onScreen(const QRect &window) const
{
    constexpr int grip = 60; // of its title bar that can be taken hold of
    const QRect frame = window.marginsAdded(frame_);
    const auto screens = QGuiApplication::screens();
    for (const QScreen *screen : screens) {
        const QRect seen = screen->availableGeometry() & frame;
        if (seen.width() >= grip && seen.height() >= grip && seen.top() == frame.top())
            return window.topLeft();
    }
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    const QRect room(area.topLeft(), area.size() - frame.size());
    const QPoint nearest(
        std::clamp(frame.x(), room.x(), std::max(room.x(), room.x() + room.width())),
        std::clamp(frame.y(), room.y(), std::max(room.y(), room.y() + room.height())));
    return window.topLeft() + nearest - frame.topLeft();
}

void MainWindow::makeContent()
{
    QWidget *content = std::exchange(makeContent_, {})().release(); // the window's from here on
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(content);
    content->show();
    connect(windowHandle(), &QWindow::screenChanged, this, &MainWindow::followScreen);
    followScreen();
}

void MainWindow::followScreen()
{
    disconnect(screenArea_);
    screenArea_ =
        connect(screen(), &QScreen::availableGeometryChanged, this, &MainWindow::fitToScreen);
    fitToScreen();
}

void MainWindow::fitToScreen()
{
    const QRect area = screen()->availableGeometry();
    const QSize room = area.size().shrunkBy(windowHandle()->frameMargins());
    setMinimumSize(leastSize.boundedTo(room));
    const bool free = !(windowState() & (Qt::WindowMaximized | Qt::WindowFullScreen));
    if (!free || size().boundedTo(room) == size())
        return;
    resize(size().boundedTo(room));
    if (isVisible())
        move(area.topLeft());
}

void MainWindow::hideEvent(QHideEvent *event)
{
    // A window manager that minimises it hides it, too.
    if (!event->spontaneous())
        rememberPlace();
    QWidget::hideEvent(event);
}

// Some put it back one border's breadth off, which must not add up.
void MainWindow::rememberPlace()
{
    constexpr int breadth = 2;
    const QPoint place = geometry().topLeft();
    const QRect same = QRect(place, QSize(1, 1)) + QMargins(breadth, breadth, breadth, breadth);
    if (!place_ || !same.contains(*place_))
        place_ = place;
    frame_ = windowHandle()->frameMargins(); // unknown while it is closed
}

void MainWindow::moveEvent(QMoveEvent *event)
{
    QWidget::moveEvent(event);
    // How thick the frame is turns out only when the window manager has put it around the window.
    if (!isVisible())
        return;
    fitToScreen();
    correctPlace();
}

void MainWindow::paintEvent(QPaintEvent *event)
{
    QWidget::paintEvent(event);
    // What is being painted reaches the screen at the end of this event.
    if (!std::exchange(hasBeenPainted_, true))
        QMetaObject::invokeMethod(this, &MainWindow::painted, Qt::QueuedConnection);
}

} // namespace kivolo
