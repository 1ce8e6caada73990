#include "platform/desktop/menu_bar_extra.h"

#include "platform/desktop/coordinates.h"
#include "platform/desktop/screen.h"

#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QPalette>
#include <QVBoxLayout>
#include <algorithm>

namespace kivolo {

using namespace std::chrono_literals;

namespace {

constexpr double panelWidth = 320;
constexpr double panelHeight = 480;
constexpr auto searchInterval = 5s;
/// A click on the icon takes the focus first, which closes the panel, and is told only then.
constexpr auto clickAfterClosing = 300ms;

double within(double value, double low, double high)
{
    return std::max(low, std::min(value, high));
}

} // namespace

Rect menuBarPanelFrame(double width, double height, const std::optional<Rect> &icon, Point click,
                       const Rect &visibleFrame)
{
    const double right = visibleFrame.maxX() - width;
    const double top = visibleFrame.maxY() - height;
    if (!icon) {
        return {click.x < visibleFrame.midX() ? visibleFrame.minX() : right,
                click.y < visibleFrame.midY() ? visibleFrame.minY() : top, width, height};
    }
    const bool below = icon->midY() >= visibleFrame.midY();
    return {within(icon->midX() - width / 2, visibleFrame.minX(), right),
            within(below ? icon->minY() - height : icon->maxY(), visibleFrame.minY(), top), width,
            height};
}

MenuBarExtra::MenuBarExtra(const QString &title, Icons icons, std::unique_ptr<QWidget> content,
                           const Screen &screen, MainQueue &queue)
    : icons_(std::move(icons))
    , screen_(screen)
    , queue_(queue)
    , panel_(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
{
    panel_.setWindowTitle(title);
    panel_.setFixedSize(int(panelWidth), int(panelHeight));
    auto *layout = new QVBoxLayout(&panel_);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(content.release());
    panel_.installEventFilter(this);

    // First, for desktops on which a click can do nothing but open the menu.
    menu_.addAction(tr("Open"), this, &MenuBarExtra::open);
    tray_.setContextMenu(&menu_);
    tray_.setToolTip(title.toHtmlEscaped());
    connect(&tray_, &QSystemTrayIcon::activated, this, [this](auto reason) {
        if (reason == QSystemTrayIcon::Trigger)
            toggle();
    });
    chooseIcon();
    search_ = queue_.every(searchInterval, [this] { findTray(); });
    findTray();
}

void MenuBarExtra::findTray()
{
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        return;
    tray_.show();
    search_.reset();
    Q_EMIT availabilityChanged();
}

void MenuBarExtra::toggle()
{
    const bool justClosed = closedAt_ && queue_.uptime() - *closedAt_ < clickAfterClosing;
    if (isOpen())
        close();
    else if (!justClosed)
        open();
}

void MenuBarExtra::open()
{
    const auto visibleFrame = screen_.visibleFrame();
    if (!visibleFrame)
        return;
    const QRect geometry = tray_.geometry();
    const auto icon = geometry.isValid() ? std::optional(toProgram(geometry)) : std::nullopt;
    const Point click = toProgram(QRect(QCursor::pos(), QSize(1, 1))).origin();
    panel_.setGeometry(
        toDesktop(menuBarPanelFrame(panelWidth, panelHeight, icon, click, *visibleFrame)));
    panel_.show();
    panel_.raise();
    panel_.activateWindow();
}

void MenuBarExtra::close()
{
    panel_.hide();
}

void MenuBarExtra::chooseIcon()
{
    const QPalette palette = QGuiApplication::palette();
    const bool dark =
        palette.windowText().color().lightness() > palette.window().color().lightness();
    tray_.setIcon(dark ? icons_.onDark : icons_.onLight);
}

bool MenuBarExtra::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == &panel_ && event->type() == QEvent::WindowDeactivate && isOpen()) {
        closedAt_ = queue_.uptime();
        close();
    } else if (watched == &panel_ && event->type() == QEvent::PaletteChange) {
        chooseIcon();
    }
    return QObject::eventFilter(watched, event);
}

} // namespace kivolo
