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
    // Said beforehand: the receiver may be gone when its event has been handled.
    static constexpr char painted[] = "paintedBefore";
    const bool paintsNewCard = event->type() == QEvent::Paint && receiver->inherits(cardClass_) &&
                               !receiver->property(painted).isValid();
    if (paintsNewCard)
        receiver->setProperty(painted, true);
    const Clock::time_point begin = Clock::now();
    ++depth_;
    const bool result = QApplication::notify(receiver, event);
    --depth_;
    if (paintsNewCard) {
        ++cardsPainted_;
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
    cardsPainted_ = 0;
    longestBlock_ = Clock::duration(0);
}
