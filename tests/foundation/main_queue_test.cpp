#include "platform/foundation/main_queue.h"

#include "platform/foundation/task.h"
#include "staging/manual_main_queue.h"
#include "staging/scripted_server.h"
#include "support/eventually.h"

#include <gtest/gtest.h>

using namespace kivolo;
using namespace std::chrono_literals;

namespace {

QCoro::Task<> sleepThenCount(MainQueue *queue, std::stop_token stop, int *wakeUps)
{
    co_await queue->sleep(1h, stop);
    ++*wakeUps;
}

} // namespace

TEST(ManualMainQueue, RunsWhatIsDueInTheOrderOfTime)
{
    ManualMainQueue queue;
    QObject context;
    QString order;
    queue.after(20ms, &context, [&] { order += u'b'; });
    queue.after(10ms, &context, [&] { order += u'a'; });
    queue.after(20ms, &context, [&] { order += u'c'; });
    const auto ticks = queue.every(15ms, [&] { order += u'.'; });
    queue.advance(15ms);
    EXPECT_EQ(order, QStringLiteral("a."));
    queue.advance(15ms);
    EXPECT_EQ(order, QStringLiteral("a.bc."));
}

/// What both queues promise, so that a test with the one says something of the other.
template<typename Queue>
class MainQueueTest : public testing::Test
{
protected:
    template<typename Condition>
    bool until(Condition condition)
    {
        if constexpr (std::is_same_v<Queue, ManualMainQueue>)
            queue.advance(10ms);
        return eventually(condition);
    }
    Queue queue;
};
using Queues = testing::Types<SystemMainQueue, ManualMainQueue>;
TYPED_TEST_SUITE(MainQueueTest, Queues);

TYPED_TEST(MainQueueTest, ADestroyedContextCancelsItsActions)
{
    QObject alive;
    bool ran = false;
    int cancelled = 0;
    {
        QObject gone;
        this->queue.after(0ms, &gone, [&] { ++cancelled; });
    }
    this->queue.after(1ms, &alive, [&] { ran = true; });
    EXPECT_TRUE(this->until([&] { return ran; }));
    EXPECT_EQ(cancelled, 0);
}

TYPED_TEST(MainQueueTest, ARepetitionMayEndItself)
{
    int runs = 0;
    std::unique_ptr<MainQueue::Repetition> repetition;
    repetition = this->queue.every(1ms, [&] {
        if (++runs == 2)
            repetition.reset();
    });
    EXPECT_TRUE(this->until([&] { return runs == 2; }));
    bool later = false;
    QObject context;
    this->queue.after(5ms, &context, [&] { later = true; });
    EXPECT_TRUE(this->until([&] { return later; }));
    EXPECT_EQ(runs, 2);
}

TYPED_TEST(MainQueueTest, AStopWakesASleeperFromTheEventLoop)
{
    std::stop_source source;
    int wakeUps = 0;
    detach(sleepThenCount(&this->queue, source.get_token(), &wakeUps), "sleeping");
    source.request_stop();
    EXPECT_EQ(wakeUps, 0) << "not inside the caller's state change";
    EXPECT_TRUE(this->until([&] { return wakeUps == 1; }));
}
