#include "platform/foundation/network.h"

#include "staging/manual_main_queue.h"
#include "support/eventually.h"
#include "support/scripted_network.h"

#include <QUrl>
#include <gtest/gtest.h>

using namespace kivolo;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

static const QUrl server(u"https://kivolo.example"_s);

TEST(WhenReachable, AsksUntilThereIsAWayAndThenActsOnce)
{
    ScriptedNetwork network;
    ManualMainQueue queue;
    QObject context;
    int acted = 0;
    whenReachable(network, server, queue, &context, [&] { ++acted; });
    for (int no = 0; no < 3; ++no) {
        ASSERT_EQ(network.asked, QList<QUrl>(no + 1, server));
        network.answer(false);
        ASSERT_TRUE(eventually([&] { return queue.pending() == 1; }));
        queue.advance(1999ms);
        EXPECT_EQ(network.asked.size(), no + 1);
        queue.advance(1ms);
    }
    EXPECT_EQ(acted, 0);
    network.answer(true);
    ASSERT_TRUE(eventually([&] { return acted == 1; }));
    queue.advance(1h);
    EXPECT_EQ(network.asked.size(), 4);
    EXPECT_EQ(acted, 1);
}

TEST(WhenReachable, EndsWithItsContext)
{
    for (const bool whileAsking : {true, false}) {
        ScriptedNetwork network;
        ManualMainQueue queue;
        auto context = std::make_unique<QObject>();
        whenReachable(network, server, queue, context.get(), [] { FAIL(); });
        if (!whileAsking) {
            network.answer(false);
            ASSERT_TRUE(eventually([&] { return queue.pending() == 1; }));
        }
        context.reset();
        if (whileAsking)
            network.answer(true);
        queue.advance(1h);
        EXPECT_EQ(network.asked.size(), 1);
    }
}

TEST(SystemNetwork, KnowsWhatHasAWay)
{
    for (const auto &[url, reached] :
         {std::pair(u"http://127.0.0.1:9"_s, true), // where nothing listens: the way is enough
          {u"http://localhost:9"_s, true},
          {u"https://[fe80::1]"_s, false}}) { // on no link in particular
        const QFuture<bool> answer = SystemNetwork().reaches(QUrl(url));
        ASSERT_TRUE(eventually([&] { return answer.isFinished(); }));
        EXPECT_EQ(answer.result(), reached) << qPrintable(url);
    }
}
