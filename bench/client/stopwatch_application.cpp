#include "bench/client/stopwatch_application.h"

#include <QEvent>
#include <QThread>
#include <algorithm>
#include <utility>

bool StopwatchApplication::notify(QObject *receiver, QEvent *event)
{
    // Every thread's events come through here.
    if (QThread::currentThread() != thread())
        return QApplication::notify(receiver, event);
    // The receiver may be gone when its event has been handled.
    const bool paintsCard = event->type() == QEvent::Paint && receiver->inherits(cardClass_);
    const Clock::time_point begin = Clock::now();
    ++depth_;
    const bool result = QApplication::notify(receiver, event);
    --depth_;
    if (paintsCard && !painted_.contains(receiver)) {
        painted_.append(receiver);
        paintedNow_ = true;
    }
    if (depth_ > 0)
        return result;
    const Clock::time_point end = Clock::now();
    longestBlock_ = std::max(longestBlock_, end - begin);
    if (std::exchange(paintedNow_, false))
        lastCardPainted_ = end;
    return result;
}

void StopwatchApplication::reset(const char *cardClass)
{
    cardClass_ = cardClass;
    painted_.clear();
    longestBlock_ = Clock::duration(0);
}
