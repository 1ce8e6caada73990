#include "staging/manual_main_queue.h"

#include <QCoreApplication>
#include <algorithm>

namespace kivolo {

class ManualMainQueue::ManualRepetition final : public Repetition
{
public:
    ManualRepetition(ManualMainQueue *queue, quint64 id)
        : queue_(queue)
        , id_(id)
    {}
    ~ManualRepetition() override
    {
        std::erase_if(queue_->entries_, [this](const Entry &entry) { return entry.id == id_; });
    }

private:
    ManualMainQueue *queue_;
    quint64 id_;
};

ManualMainQueue::ManualMainQueue(qint64 now)
    : wallOffset_(std::chrono::seconds(now))
{}

ManualMainQueue::~ManualMainQueue() = default;

qint64 ManualMainQueue::now() const
{
    return std::chrono::duration_cast<std::chrono::seconds>(wallOffset_ + uptime_).count();
}

void ManualMainQueue::after(Duration delay, QObject *context, Action action)
{
    const quint64 id = nextOrder_++;
    entries_.push_back({uptime_ + delay, id, Duration(0), QPointer<QObject>(context),
                        std::make_shared<Action>(std::move(action)), id});
}

std::unique_ptr<MainQueue::Repetition> ManualMainQueue::every(Duration interval, Action action)
{
    const quint64 id = nextOrder_++;
    entries_.push_back({uptime_ + interval, id, interval, nullptr,
                        std::make_shared<Action>(std::move(action)), id});
    return std::make_unique<ManualRepetition>(this, id);
}

bool ManualMainQueue::runNextDue(Duration until)
{
    const auto next = std::min_element(entries_.begin(), entries_.end(), [](auto &a, auto &b) {
        return std::tie(a.due, a.order) < std::tie(b.due, b.order);
    });
    if (next == entries_.end() || next->due > until)
        return false;
    const Entry entry = *next;
    uptime_ = std::max(uptime_, entry.due);
    if (entry.interval > Duration(0)) {
        next->due += entry.interval;
        next->order = nextOrder_++;
    } else {
        entries_.erase(next);
    }
    if (entry.interval > Duration(0) || entry.context)
        (*entry.action)();
    QCoreApplication::processEvents();
    return true;
}

void ManualMainQueue::advance(Duration duration)
{
    const Duration until = uptime_ + duration;
    QCoreApplication::processEvents();
    while (runNextDue(until)) {
    }
    uptime_ = until;
    QCoreApplication::processEvents();
}

std::ptrdiff_t ManualMainQueue::pending() const
{
    return std::count_if(entries_.begin(), entries_.end(), [](const Entry &entry) {
        return entry.interval > Duration(0) || entry.context;
    });
}

void ManualMainQueue::setNow(qint64 now)
{
    wallOffset_ = std::chrono::seconds(now) - uptime_;
}

} // namespace kivolo
