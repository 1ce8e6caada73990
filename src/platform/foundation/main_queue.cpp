#include "platform/foundation/main_queue.h"

#include <QCoreApplication>
#include <QCoro/QCoroFuture>
#include <QPromise>
#include <QThread>
#include <QTimer>
#include <chrono>

namespace kivolo {

namespace {

class TimerRepetition final : public MainQueue::Repetition
{
public:
    TimerRepetition(MainQueue::Duration interval, MainQueue::Action action)
        : timer_(std::make_unique<QTimer>())
    {
        timer_->setTimerType(Qt::PreciseTimer);
        // The copy keeps the action alive while it runs, also when it ends its own repetition.
        QObject::connect(timer_.get(), &QTimer::timeout, timer_.get(),
                         [shared = std::make_shared<MainQueue::Action>(std::move(action))] {
                             // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
                             const auto held = shared;
                             (*held)();
                         });
        timer_->start(interval);
    }

    ~TimerRepetition() override
    {
        timer_->stop();
        // An action may end its own repetition, so the timer must outlive its signal.
        timer_.release()->deleteLater();
    }

private:
    std::unique_ptr<QTimer> timer_;
};

} // namespace

QCoro::Task<> MainQueue::sleep(Duration duration, std::stop_token stop)
{
    // A future resumes its awaiter from the event loop, so a stop requested in the middle of
    // somebody's state change cannot run the sleeper inside it.
    const auto woken = std::make_shared<QPromise<void>>();
    woken->start();
    QObject timeout;
    after(duration, &timeout, [woken] { woken->finish(); });
    const std::stop_callback stopped(stop, [woken] { woken->finish(); });
    const QFuture<void> wake = woken->future();
    co_await wake;
    assertOnMainThread();
}

qint64 SystemMainQueue::now() const
{
    using namespace std::chrono;
    return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
}

MainQueue::Duration SystemMainQueue::uptime() const
{
    return std::chrono::duration_cast<Duration>(
        std::chrono::steady_clock::now().time_since_epoch());
}

void SystemMainQueue::after(Duration delay, QObject *context, Action action)
{
    QTimer::singleShot(delay, Qt::PreciseTimer, context, std::move(action));
}

std::unique_ptr<MainQueue::Repetition> SystemMainQueue::every(Duration interval, Action action)
{
    return std::make_unique<TimerRepetition>(interval, std::move(action));
}

void assertOnMainThread()
{
    Q_ASSERT(QCoreApplication::instance() &&
             QThread::currentThread() == QCoreApplication::instance()->thread());
}

} // namespace kivolo
