#include "platform/desktop/cursor_rest.h"

#include <QEvent>
#include <QGuiApplication>
#include <QStyleHints>

namespace kivolo {

using namespace std::chrono_literals;

static constexpr MainQueue::Duration patience = 10s;
static constexpr int still = 0;
static constexpr int asTheDesktopHasIt = -1;

CursorRest::CursorRest(MainQueue &queue)
    : queue_(queue)
{
    qApp->installEventFilter(this);
    wake();
}

bool CursorRest::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::KeyPress:
    case QEvent::InputMethod:
    case QEvent::MouseButtonPress:
    case QEvent::FocusIn:
        wake();
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void CursorRest::wake()
{
    lastUse_ = queue_.uptime();
    if (!resting_)
        return;
    resting_ = false;
    QGuiApplication::styleHints()->setCursorFlashTime(asTheDesktopHasIt);
    restOrWait();
}

void CursorRest::restOrWait()
{
    const MainQueue::Duration left = lastUse_ + patience - queue_.uptime();
    if (left > 0ms) {
        queue_.after(left, this, [this] { restOrWait(); });
        return;
    }
    resting_ = true;
    QGuiApplication::styleHints()->setCursorFlashTime(still);
}

} // namespace kivolo
