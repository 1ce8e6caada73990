// The program's icon among those that the desktop always shows, and the panel behind it.
#pragma once

#include "platform/desktop/geometry.h"
#include "platform/foundation/main_queue.h"

#include <QIcon>
#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>
#include <QWidget>
#include <memory>
#include <optional>

namespace kivolo {

class Screen;

/// Where a panel of the given size opens: beside the icon, below it in the upper half of the
/// screen and above it in the lower; without an icon's place, in the corner nearest to `click`.
/// Always within `visibleFrame`, unless that is the smaller one.
Rect menuBarPanelFrame(double width, double height, const std::optional<Rect> &icon, Point click,
                       const Rect &visibleFrame);

/// A tray icon that opens a window-style panel of 320 × 480 points. Main thread only.
class MenuBarExtra final : public QObject
{
    Q_OBJECT
public:
    /// The same picture for trays on light and on dark desktops.
    struct Icons
    {
        QIcon onLight;
        QIcon onDark;
    };

    /// `content` fills the panel. `screen` and `queue` must outlive the extra.
    MenuBarExtra(const QString &title, Icons icons, std::unique_ptr<QWidget> content,
                 const Screen &screen, MainQueue &queue);

    /// Whether the desktop shows the icon. A tray may come only after the program.
    bool isAvailable() const
    {
        return tray_.isVisible() && QSystemTrayIcon::isSystemTrayAvailable();
    }

    void open();
    void close();
    bool isOpen() const { return panel_.isVisible(); }
    const QWidget &panel() const { return panel_; }

Q_SIGNALS:
    /// A tray has come after the extra was made. One that goes is told by isAvailable() alone.
    void availabilityChanged();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void findTray();
    void toggle();
    void chooseIcon();

    const Icons icons_;
    const Screen &screen_;
    MainQueue &queue_;
    QSystemTrayIcon tray_;
    QMenu menu_;
    QWidget panel_;
    std::optional<MainQueue::Duration> closedAt_;   // by losing the focus
    std::unique_ptr<MainQueue::Repetition> search_; // while there is no tray
};

} // namespace kivolo
