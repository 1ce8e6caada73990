#include "platform/desktop/key_guard.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWindow>

namespace kivolo {

using namespace std::chrono_literals;

/// A window that becomes active later than this was chosen by the user.
static constexpr MainQueue::Duration patience = 2s;

static KeyGuard *guardOf(const QWidget &window)
{
    return window.findChild<KeyGuard *>({}, Qt::FindDirectChildrenOnly);
}

void KeyGuard::watch(QWidget &window, const MainQueue &queue)
{
    delete guardOf(window);
    new KeyGuard(window, queue.uptime() + patience, queue);
}

void KeyGuard::dismiss(QWidget &window)
{
    if (KeyGuard *guard = guardOf(window))
        guard->end(Qt::OtherFocusReason);
}

KeyGuard::KeyGuard(QWidget &window, MainQueue::Duration expiry, const MainQueue &queue)
    : QObject(&window)
    , window_(window)
    , queue_(queue)
    , expiry_(expiry)
{
    window.installEventFilter(this);
}

bool KeyGuard::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::WindowActivate:
        if (watched == &window_)
            hold();
        return false;
    case QEvent::WindowDeactivate:
        if (watched == &window_)
            end(Qt::OtherFocusReason);
        return false;
    case QEvent::MouseButtonPress:
        if (watched != &window_)
            end(Qt::MouseFocusReason);
        return false;
    default:
        break;
    }
    if (watched == &window_)
        return false;
    // Of what a key sets off, this comes first. Taken, it keeps shortcuts from being looked up.
    if (event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    if (event->type() != QEvent::KeyPress)
        return event->type() == QEvent::KeyRelease;
    const int key = static_cast<QKeyEvent *>(event)->key();
    if (key != Qt::Key_Tab && key != Qt::Key_Backtab)
        return true;
    // Where nothing had the focus, the window goes on to the first that can have it.
    const bool goesBack = focused_ && focused_->isVisible();
    end(Qt::TabFocusReason);
    return goesBack;
}

void KeyGuard::hold()
{
    if (queue_.uptime() > expiry_) {
        end(Qt::OtherFocusReason);
        return;
    }
    holds_ = true;
    takeFocus();
    // Every event of the window system comes to the window behind the widget first.
    window_.windowHandle()->installEventFilter(this);
    // A screen that is built now wants the focus for a field of its own.
    connect(qApp, &QApplication::focusChanged, this, &KeyGuard::takeFocus, Qt::QueuedConnection);
}

// Without a focus at all, Qt would look for the next that can have it.
void KeyGuard::takeFocus()
{
    QWidget *focused = window_.focusWidget();
    if (!holds_ || focused == &window_)
        return;
    focused_ = focused;
    window_.setFocus();
}

void KeyGuard::end(Qt::FocusReason reason)
{
    if (std::exchange(holds_, false) && focused_)
        focused_->setFocus(reason);
    window_.removeEventFilter(this);
    if (QWindow *handle = window_.windowHandle())
        handle->removeEventFilter(this);
    deleteLater();
}

} // namespace kivolo
