// The program's icon among those that the desktop shows all the time.
#pragma once

#include "platform/desktop/geometry.h"
#include "platform/foundation/main_queue.h"

#include <QIcon>
#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>
#include <functional>
#include <memory>
#include <optional>

namespace kivolo {

class MenuBarPanel;
class Screen;

/// An icon in the desktop's tray. A click on it opens a panel of 320 x 480 points beside it, which
/// closes with the next click or as soon as it loses the focus; the first entry of the icon's
/// context menu opens the panel too, for desktops where any click shows the menu. Main thread only.
class MenuBarExtra final : public QObject
{
    Q_OBJECT
public:
    using ContentFactory = std::function<std::unique_ptr<QWidget>()>;
    struct Icons
    {
        QIcon onLight; ///< For light surroundings.
        QIcon onDark;
    };

    /// `title` is the icon's tool tip; `makeContent` is called when the panel is first opened.
    /// `queue` and `screen` must outlive the object.
    MenuBarExtra(QString title, Icons icons, ContentFactory makeContent, MainQueue &queue,
                 const Screen &screen);
    ~MenuBarExtra() override;

    /// Whether there is a tray that shows the icon. False until the first turn of the event loop: a
    /// tray is looked for then, and every 2 seconds for as long as none has appeared.
    bool isAvailable() const;

    /// The context menu; what the caller adds follows "Open".
    QMenu &menu() { return menu_; }
    /// The panel's window, for tests that look at the window system.
    QWidget &panel();

Q_SIGNALS:
    /// A tray has appeared. One that goes is told by isAvailable() alone, and gets the icon back
    /// when it returns.
    void availabilityChanged();

private:
    void lookForTray();
    void clicked(QSystemTrayIcon::ActivationReason reason);
    void open();
    void chooseIcon();

    QString title_;
    Icons icons_;
    ContentFactory makeContent_;
    MainQueue &queue_;
    const Screen &screen_;
    QMenu menu_;
    std::unique_ptr<MenuBarPanel> panel_;
    std::unique_ptr<QSystemTrayIcon> icon_; // exists once there is a tray
    std::unique_ptr<MainQueue::Repetition> search_;
    std::optional<MainQueue::Duration> lostFocus_; // when that last closed the panel
};

/// Where the panel stands: centred below an icon in the upper half of the visible frame, above one
/// in the lower half; where the desktop does not tell the icon's place, in the corner nearest to
/// `pointer`. Always inside the visible frame, its top edge if the frame is too small.
Rect menuBarPanelFrame(const Rect &visibleFrame, const std::optional<Rect> &icon, Point pointer);

} // namespace kivolo
