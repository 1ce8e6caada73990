// Time that stands still until a test moves it.
#pragma once

#include "platform/foundation/main_queue.h"

#include <QPointer>
#include <vector>

namespace kivolo {

/// A MainQueue whose two clocks only advance() moves. Actions that are due run in the order of
/// their times, equal times in the order in which they were scheduled.
class ManualMainQueue final : public MainQueue
{
public:
    explicit ManualMainQueue(qint64 now = 1'700'000'000);
    ~ManualMainQueue() override;

    qint64 now() const override;
    Duration uptime() const override { return uptime_; }
    void after(Duration delay, QObject *context, Action action) override;
    [[nodiscard]] std::unique_ptr<Repetition> every(Duration interval, Action action) override;

    /// Moves both clocks on, runs what falls due on the way, and lets the event loop deliver what
    /// that set off.
    void advance(Duration duration);

    /// Sets the wall clock alone, as its owner may.
    void setNow(qint64 now);

    /// How many one-shot actions and repetitions are waiting.
    std::ptrdiff_t pending() const;

private:
    class ManualRepetition;
    struct Entry
    {
        Duration due;
        quint64 order;
        Duration interval; // zero: once
        QPointer<QObject> context;
        std::shared_ptr<Action> action;
        quint64 id;
    };
    bool runNextDue(Duration until);

    Duration uptime_{0};
    std::chrono::milliseconds wallOffset_;
    quint64 nextOrder_ = 0;
    std::vector<Entry> entries_;
};

} // namespace kivolo
