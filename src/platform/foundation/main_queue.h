// Time and delayed work on the main thread.
#pragma once

#include <QCoro/QCoroTask>
#include <QObject>
#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>

namespace kivolo {

/// Everything that waits goes through this interface, so that a test can own time. All of it is
/// used on the main thread only. Delays run on the monotonic clock; only now() follows the wall
/// clock, which its owner may set.
class MainQueue
{
public:
    using Action = std::function<void()>;
    using Duration = std::chrono::milliseconds;

    /// A running repetition; destroying it ends the repetition, also from inside its action.
    class Repetition
    {
    public:
        virtual ~Repetition() = default;
    };

    virtual ~MainQueue() = default;

    /// The wall clock: whole seconds since 1970, the fraction cut off.
    virtual qint64 now() const = 0;

    /// The monotonic clock, from an arbitrary start.
    virtual Duration uptime() const = 0;

    /// Runs `action` once, `delay` from now, from the event loop. Nothing happens if `context`,
    /// an object of the main thread, has been destroyed by then.
    virtual void after(Duration delay, QObject *context, Action action) = 0;

    /// Runs `action` every `interval`, the first time one interval from now.
    [[nodiscard]] virtual std::unique_ptr<Repetition> every(Duration interval, Action action) = 0;

    /// Returns `duration` from now, or at the next turn of the event loop once `stop` is requested.
    /// The queue must outlive the wait.
    QCoro::Task<> sleep(Duration duration, std::stop_token stop);
};

/// The real clocks and the running event loop. Has no state: any number of them agree.
class SystemMainQueue final : public MainQueue
{
public:
    qint64 now() const override;
    Duration uptime() const override;
    void after(Duration delay, QObject *context, Action action) override;
    [[nodiscard]] std::unique_ptr<Repetition> every(Duration interval, Action action) override;
};

/// Stops a debug build that touches main-thread state elsewhere.
void assertOnMainThread();

} // namespace kivolo
