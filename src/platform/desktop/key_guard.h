// Keys that are meant for another program.
#pragma once

#include "platform/foundation/main_queue.h"

#include <QPointer>
#include <QWidget>

namespace kivolo {

/// Watches over a window that the program itself is about to bring to the front. Whoever types at
/// that moment types for another window: from when this one becomes active, nothing in it has the
/// focus and no key does anything, until the user clicks into it or presses Tab. Then the focus
/// goes back to where it was. Where the desktop refuses to bring it forward, or the user has left
/// it and comes back, the window is as any other. Belongs to its window. Main thread only.
class KeyGuard final : public QObject
{
    Q_OBJECT
public:
    /// To be called right before `window`, which is shown and not active, asks for the focus.
    static void watch(QWidget &window, const MainQueue &queue);

    /// The user has asked for `window`.
    static void dismiss(QWidget &window);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    KeyGuard(QWidget &window, MainQueue::Duration expiry, const MainQueue &queue);
    void hold();
    void takeFocus();
    void end(Qt::FocusReason reason);

    QWidget &window_;
    const MainQueue &queue_;
    const MainQueue::Duration expiry_; // by queue_'s uptime
    bool holds_ = false;
    QPointer<QWidget> focused_; // what has the focus when the guard is gone
};

} // namespace kivolo
