#include "platform/desktop/menu_bar_extra.h"

#include "platform/desktop/activation.h"
#include "platform/desktop/coordinates.h"
#include "platform/desktop/screen.h"

#include <QApplication>
#include <QCursor>
#include <QKeyEvent>
#include <QVBoxLayout>
#include <QWindow>
#include <algorithm>
#include <utility>

namespace kivolo {

using namespace std::chrono_literals;

namespace {

constexpr double panelWidth = 320;
constexpr double panelHeight = 480;
constexpr double gap = 4; // between icon and panel
/// A click on the icon takes the focus first, which closes the panel, and is told only then.
constexpr auto clickAfterClosing = 300ms;

double within(double value, double low, double high)
{
    return std::max(low, std::min(value, high));
}

} // namespace

Rect menuBarPanelFrame(const std::optional<Rect> &icon, Point click, const Rect &visibleFrame)
{
    const double width = std::min(panelWidth, visibleFrame.width);
    const double height = std::min(panelHeight, visibleFrame.height);
    const double right = visibleFrame.maxX() - width;
    const double top = visibleFrame.maxY() - height;
    if (!icon) {
        return {click.x < visibleFrame.midX() ? visibleFrame.minX() : right,
                click.y < visibleFrame.midY() ? visibleFrame.minY() : top, width, height};
    }
    const bool below = icon->midY() >= visibleFrame.midY();
    const double y = below ? icon->minY() - gap - height : icon->maxY() + gap;
    return {within(icon->midX() - width / 2, visibleFrame.minX(), right),
            within(y, visibleFrame.minY(), top), width, height};
}

MenuBarExtra::MenuBarExtra(QString title, QIcon icon, ContentFactory makeContent,
                           const Screen &screen, MainQueue &queue)
    : title_(std::move(title))
    , icon_(std::move(icon))
    , makeContent_(std::move(makeContent))
    , screen_(screen)
    , queue_(queue)
{
    connect(&presence_, &TrayPresence::changed, this, &MenuBarExtra::followTray);
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, &MenuBarExtra::followFocus);
}

MenuBarExtra::~MenuBarExtra() = default;

void MenuBarExtra::followTray()
{
    // From the first one on, Qt follows the tray by itself.
    if (!tray_) {
        tray_ = std::make_unique<QSystemTrayIcon>(icon_);
        menu_ = std::make_unique<QMenu>();
        menu_->addAction(tr("Open"), this, &MenuBarExtra::open);
        tray_->setContextMenu(menu_.get());
        tray_->setToolTip(title_.toHtmlEscaped());
        connect(tray_.get(), &QSystemTrayIcon::activated, this, [this](auto reason) {
            if (reason == QSystemTrayIcon::Trigger)
                toggle();
        });
        tray_->show();
    }
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

void MenuBarExtra::makePanel()
{
    panel_ = std::make_unique<QWidget>(nullptr, Qt::Tool | Qt::FramelessWindowHint |
                                                    Qt::WindowStaysOnTopHint);
    panel_->setAttribute(Qt::WA_TranslucentBackground);
    panel_->setWindowTitle(title_);
    PanelContent *content = makeContent_().release(); // the panel's from here on
    auto *layout = new QVBoxLayout(panel_.get());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(content);
    panel_->installEventFilter(this);
    const auto adapt = [this, content] {
        content->setBlending(compositor_->isThere() ? PanelContent::Blending::Plain
                                                    : PanelContent::Blending::None);
    };
    compositor_ = window_system::observeCompositor(adapt);
    adapt();
}

void MenuBarExtra::open()
{
    const auto visibleFrame = screen_.visibleFrame();
    if (!visibleFrame)
        return;
    if (!panel_)
        makePanel();
    std::optional<Rect> icon;
    if (tray_ && !tray_->geometry().isEmpty())
        icon = toProgram(tray_->geometry());
    const Point click = toProgram(QRect(QCursor::pos(), QSize(1, 1))).origin();
    const QRect frame = toDesktop(menuBarPanelFrame(icon, click, *visibleFrame));
    panel_->setFixedSize(frame.size());
    panel_->move(frame.topLeft());
    panel_->show();
    panel_->raise();
    window_system::bringToUser(*panel_->windowHandle());
}

void MenuBarExtra::close()
{
    if (panel_)
        panel_->hide();
}

void MenuBarExtra::followFocus(QWindow *focused)
{
    // A menu that opens from within the panel takes the keyboard, too.
    if (!isOpen() || focused == panel_->windowHandle() || QApplication::activePopupWidget())
        return;
    closedAt_ = queue_.uptime();
    close();
}

bool MenuBarExtra::eventFilter(QObject *watched, QEvent *event)
{
    // Arrives here only when nothing in the panel has taken it.
    if (watched == panel_.get() && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent *>(event)->matches(QKeySequence::Cancel)) {
        close();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace kivolo
