// A text cursor that stops blinking when nobody uses the program.
#pragma once

#include "platform/foundation/main_queue.h"

#include <QObject>

namespace kivolo {

/// Lets the text cursor stand still ten seconds after the last key, click or change of the focus,
/// as other desktop programs do: each blink paints a window and asks the X server, which is most of
/// what a program costs that otherwise does nothing. Part of the application object, which has to
/// outlive it. Main thread only.
class CursorRest final : public QObject
{
    Q_OBJECT
public:
    /// `queue` must outlive it.
    explicit CursorRest(MainQueue &queue);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void wake();
    void restOrWait();

    MainQueue &queue_;
    MainQueue::Duration lastUse_{};
    bool resting_ = true;
};

} // namespace kivolo
