#include "platform/foundation/main_queue.h"
#include "support/manual_main_queue.h"

#include <gtest/gtest.h>

using namespace kivolo;
using namespace std::chrono_literals;

TEST(ManualMainQueue, RunsWhatIsDueInTheOrderOfTime)
{
    ManualMainQueue queue;
    QObject context;
    QString order;
    queue.after(20ms, &context, [&] { order += u'b'; });
    queue.after(10ms, &context, [&] { order += u'a'; });
    queue.after(20ms, &context, [&] { order += u'c'; });
    queue.advance(15ms);
    EXPECT_EQ(order, u"a");
    queue.advance(5ms);
    EXPECT_EQ(order, u"abc");
}
