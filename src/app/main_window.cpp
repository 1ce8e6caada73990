#include "app/main_window.h"

#include <QAccessibleWidget>
#include <QHideEvent>
#include <QScreen>
#include <QVBoxLayout>
#include <QWindow>
#include <utility>

namespace kivolo {

static constexpr QSize leastSize(420, 560);
static constexpr QSize idealSize(520, 720);

/// The toolkit knows a window for what it is only if it is one of its own kinds.
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
        move(*place_);
    fitToScreen();
    QWidget::showEvent(event);
}

void MainWindow::makeContent()
{
    QWidget *content = std::exchange(makeContent_, {})().release(); // owned by its parent
    content->setParent(this);
    auto layout = std::make_unique<QVBoxLayout>(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout.release()->addWidget(content);
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
        place_ = pos();
    QWidget::hideEvent(event);
}

void MainWindow::moveEvent(QMoveEvent *event)
{
    QWidget::moveEvent(event);
    // How thick the frame is turns out only when the window manager has put it around the window.
    if (isVisible())
        fitToScreen();
}

void MainWindow::paintEvent(QPaintEvent *event)
{
    QWidget::paintEvent(event);
    // What is being painted reaches the screen at the end of this event.
    if (!std::exchange(hasBeenPainted_, true))
        QMetaObject::invokeMethod(this, &MainWindow::painted, Qt::QueuedConnection);
}

} // namespace kivolo
