#include "platform/desktop/menu_bar_extra.h"

#include "platform/desktop/coordinates.h"
#include "platform/desktop/screen.h"

#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QPalette>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

namespace kivolo {

using namespace std::chrono_literals;

namespace {
constexpr double panelWidth = 320;
constexpr double panelHeight = 480;
constexpr double gap = 4; // between icon and panel
constexpr MainQueue::Duration searchInterval = 2s;
// A click on the icon may take the focus away before it arrives; it is meant to close.
constexpr MainQueue::Duration sameClick = 300ms;
} // namespace

class MenuBarPanel final : public QWidget
{
    Q_OBJECT
public:
    MenuBarPanel()
        : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
    {
        setAttribute(Qt::WA_QuitOnClose, false);
        setFixedSize(int(panelWidth), int(panelHeight));
    }

    void setContent(std::unique_ptr<QWidget> content)
    {
        auto *layout = std::make_unique<QVBoxLayout>(this).release(); // owned by its parent
        layout->setContentsMargins({});
        layout->addWidget(content.release());
    }

Q_SIGNALS:
    void focusLost();
    void paletteChanged();

protected:
    bool event(QEvent *event) override
    {
        if (event->type() == QEvent::WindowDeactivate && isVisible()) {
            hide();
            Q_EMIT focusLost();
        }
        return QWidget::event(event);
    }
    void changeEvent(QEvent *event) override
    {
        QWidget::changeEvent(event);
        if (event->type() == QEvent::PaletteChange)
            Q_EMIT paletteChanged();
    }
};

Rect menuBarPanelFrame(const Rect &visibleFrame, const std::optional<Rect> &icon, Point pointer)
{
    const Rect from = icon.value_or(Rect{pointer.x, pointer.y, 0, 0});
    const bool below = from.midY() > visibleFrame.midY();
    double x = from.midX() - panelWidth / 2;
    double y = below ? from.minY() - gap - panelHeight : from.maxY() + gap;
    if (!icon) {
        x = pointer.x > visibleFrame.midX() ? visibleFrame.maxX() - panelWidth
                                            : visibleFrame.minX();
        y = below ? visibleFrame.maxY() - panelHeight : visibleFrame.minY();
    }
    x = std::max(visibleFrame.minX(), std::min(x, visibleFrame.maxX() - panelWidth));
    y = std::min(visibleFrame.maxY() - panelHeight, std::max(y, visibleFrame.minY()));
    return {x, y, panelWidth, panelHeight};
}

MenuBarExtra::MenuBarExtra(QString title, Icons icons, ContentFactory makeContent, MainQueue &queue,
                           const Screen &screen)
    : title_(std::move(title))
    , icons_(std::move(icons))
    , makeContent_(std::move(makeContent))
    , queue_(queue)
    , screen_(screen)
    , panel_(std::make_unique<MenuBarPanel>())
{
    connect(menu_.addAction(QStringLiteral("Open")), &QAction::triggered, this,
            &MenuBarExtra::open);
    connect(panel_.get(), &MenuBarPanel::focusLost, this, [this] { lostFocus_ = queue_.uptime(); });
    connect(panel_.get(), &MenuBarPanel::paletteChanged, this, &MenuBarExtra::chooseIcon);
    search_ = queue_.every(searchInterval, [this] { lookForTray(); });
    // Not now, because looking may ask the message bus.
    queue_.after(0ms, this, [this] { lookForTray(); });
}

MenuBarExtra::~MenuBarExtra() = default;

bool MenuBarExtra::isAvailable() const
{
    return icon_ && QSystemTrayIcon::isSystemTrayAvailable();
}

QWidget &MenuBarExtra::panel()
{
    return *panel_;
}

void MenuBarExtra::lookForTray()
{
    if (icon_ || !QSystemTrayIcon::isSystemTrayAvailable())
        return;
    search_.reset();
    icon_ = std::make_unique<QSystemTrayIcon>();
    icon_->setToolTip(title_);
    icon_->setContextMenu(&menu_);
    connect(icon_.get(), &QSystemTrayIcon::activated, this, &MenuBarExtra::clicked);
    chooseIcon();
    icon_->show();
    Q_EMIT availabilityChanged();
}

void MenuBarExtra::chooseIcon()
{
    const bool dark = QGuiApplication::palette().color(QPalette::Window).lightness() < 128;
    if (icon_)
        icon_->setIcon(dark ? icons_.onDark : icons_.onLight);
}

void MenuBarExtra::clicked(QSystemTrayIcon::ActivationReason reason)
{
    // The second half of a double click has a reason of its own, so that such a click opens.
    if (reason != QSystemTrayIcon::Trigger)
        return;
    if (panel_->isVisible())
        panel_->hide();
    else if (!lostFocus_ || queue_.uptime() - *lostFocus_ > sameClick)
        open();
}

void MenuBarExtra::open()
{
    const auto visibleFrame = screen_.visibleFrame();
    if (!visibleFrame)
        return;
    if (makeContent_)
        panel_->setContent(std::exchange(makeContent_, {})());
    std::optional<Rect> icon;
    if (icon_ && !icon_->geometry().isEmpty())
        icon = toProgram(icon_->geometry());
    const Point pointer = toProgram(QRect(QCursor::pos(), QSize())).origin();
    panel_->move(toDesktop(menuBarPanelFrame(*visibleFrame, icon, pointer)).topLeft());
    panel_->show();
    panel_->raise();
    panel_->activateWindow();
}

} // namespace kivolo

#include "menu_bar_extra.moc"
