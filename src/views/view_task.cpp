#include "views/view_task.h"

#include "platform/foundation/task.h"

#include <QEvent>
#include <QWidget>

namespace kivolo {

ViewTask::ViewTask(QWidget *view, Start start)
    : QObject(view)
    , start_(std::move(start))
{
    view->installEventFilter(this);
}

ViewTask::~ViewTask()
{
    running_.request_stop();
}

bool ViewTask::eventFilter(QObject *watched, QEvent *event)
{
    // A window that is merely minimised, or on another desktop, is still shown.
    if (!event->spontaneous()) {
        if (event->type() == QEvent::Show) {
            running_.request_stop();
            running_ = std::stop_source();
            detach(start_(running_.get_token()), "a view's task");
        } else if (event->type() == QEvent::Hide) {
            running_.request_stop();
        }
    }
    return QObject::eventFilter(watched, event);
}

} // namespace kivolo
