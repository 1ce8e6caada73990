#include "platform/foundation/main_queue.h"

#include "platform/foundation/task.h"
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

TEST(SystemMainQueue, ADestroyedContextCancelsAndARepetitionMayEndItself)
{
    SystemMainQueue queue;
    int cancelled = 0;
    {
        QObject gone;
        queue.after(0ms, &gone, [&] { ++cancelled; });
    }
    int runs = 0;
    std::unique_ptr<MainQueue::Repetition> repetition;
    repetition = queue.every(1ms, [&] {
        if (++runs == 2)
            repetition.reset();
    });
    EXPECT_TRUE(eventually([&] { return runs == 2; }));
    bool later = false;
    QObject context;
    queue.after(5ms, &context, [&] { later = true; });
    EXPECT_TRUE(eventually([&] { return later; }));
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(cancelled, 0);
}

TEST(SystemMainQueue, AStopWakesASleeperFromTheEventLoop)
{
    SystemMainQueue queue;
    std::stop_source source;
    int wakeUps = 0;
    detach(sleepThenCount(&queue, source.get_token(), &wakeUps), "sleeping");
    source.request_stop();
    EXPECT_EQ(wakeUps, 0) << "not inside the caller's state change";
    EXPECT_TRUE(eventually([&] { return wakeUps == 1; }));
}
