// The program's icon among those that the desktop always shows, and the panel behind it.
#pragma once

#include "platform/desktop/geometry.h"
#include "platform/desktop/panel_content.h"
#include "platform/desktop/tray_presence.h"
#include "platform/foundation/main_queue.h"

#include <QIcon>
#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

namespace kivolo {

class Screen;

/// Where the panel of 320 × 480 points opens: beside the icon, below it in the upper half of the
/// screen and above it in the lower; without an icon's place, in the corner nearest to `click`.
/// Always within `visibleFrame`, and as large as that where it is the smaller one.
Rect menuBarPanelFrame(const std::optional<Rect> &icon, Point click, const Rect &visibleFrame);

/// A tray icon that opens a window-style panel of 320 × 480 points. The panel closes with the next
/// click on the icon, with Escape, and as soon as it loses the focus to anything but a menu. The
/// icon's menu has one entry, "Open", for desktops on which a click can do nothing but open the
/// menu. Main thread only.
class MenuBarExtra final : public QObject
{
    Q_OBJECT
public:
    /// Makes what fills the panel, which blurs nothing and throws no shadow.
    using ContentFactory = std::function<std::unique_ptr<PanelContent>()>;

    /// `icon` has to be visible on light and dark: nothing tells what colour a desktop's tray has.
    /// `makeContent` is called when the panel is first opened. `screen` and `queue` must outlive
    /// the extra.
    MenuBarExtra(QString title, QIcon icon, ContentFactory makeContent, const Screen &screen,
                 MainQueue &queue);
    ~MenuBarExtra() override;

    /// Whether the desktop has a tray that shows the icon.
    bool isAvailable() const { return presence_.isThere(); }

    void open();
    void close();
    bool isOpen() const { return panel_ && panel_->isVisible(); }

    /// For tests that look at the window system; null are the panel before it is first
    /// opened, the menu before there is a tray.
    const QWidget *panel() const { return panel_.get(); }
    const QMenu *menu() const { return menu_.get(); }

Q_SIGNALS:
    /// isAvailable() has another value.
    void availabilityChanged();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void followTray();
    void followFocus(QWindow *focused);
    void makePanel();
    void toggle();

    const QString title_;
    const QIcon icon_;
    ContentFactory makeContent_;
    const Screen &screen_;
    MainQueue &queue_;
    TrayPresence presence_;
    std::unique_ptr<QMenu> menu_;           // from the first tray on, as is
    std::unique_ptr<QSystemTrayIcon> tray_; // the icon in it
    std::unique_ptr<QWidget> panel_;        // from the first opening on
    std::unique_ptr<window_system::Presence> compositor_;
    std::optional<MainQueue::Duration> closedAt_; // by losing the focus
};

} // namespace kivolo
