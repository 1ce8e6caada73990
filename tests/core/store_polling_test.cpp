#include "core/store_fixture.h"

using namespace kivolo;
using namespace Qt::StringLiterals;

TEST_F(StoreFixture, TheFirstAnswerPrimesInSilenceLaterOnesAreShownAndFailuresChangeNothing)
{
    const QByteArray shakes = R"(,"effect":"shake")";
    const struct
    {
        const char *since; // in the request
        QByteArray reply;
        const char *fed, *shown; // what that adds
    } cycles[] = {
        {"0", "<html>", "", ""},
        {"0", R"({"beams":[{}],"server_time":9})", "", ""},
        {"0", pollReply({beamJson("b1"), beamJson("b2", shakes)}, 1000), " b1 b2", ""},
        {"999",
         pollReply({beamJson("b2"), beamJson("b3"), beamJson("b4", shakes),
                    beamJson("b5", R"(,"effect":"Shake")"),
                    beamJson("b6", R"(,"sealed":1,"open_at":9)" + shakes),
                    beamJson("b7", R"(,"sealed":0)"), beamJson("b3")},
                   2000),
         " b3 b4 b5 b6 b7", "b3 b4! b5 b7 "},
        {"1999", "", "", ""},
        {"1999", pollReply({beamJson("b8")}, std::numeric_limits<qint64>::min()), " b8", "b8 "},
        {"0", pollReply({}, 0), "", ""},
        {"0", pollReply({}, std::numeric_limits<qint64>::max()), "", ""},
        {"9223372036854775806", pollReply({}, 1), "", ""},
    };
    server.answer("/me", joinedStatus());
    for (const auto &cycle : cycles)
        server.answer("/beams", cycle.reply);
    start();
    ASSERT_TRUE(eventually([&] { return server.requestsTo("/me").size() == 2; }))
        << "the status of the start and that of the first cycle, which has failed";
    ASSERT_TRUE(settled());
    QString fed;
    QString popups;
    for (const auto &cycle : cycles) {
        SCOPED_TRACE(cycle.reply.constData());
        EXPECT_EQ(server.requestsTo("/beams").last().target,
                  QByteArray("/beams?circle_id=c1&member_id=me&since=") + cycle.since);
        EXPECT_EQ(feedIds(), (fed += QLatin1String(cycle.fed)).trimmed());
        EXPECT_EQ(shown, popups += QLatin1String(cycle.shown));
        nextCycle();
    }
    ASSERT_EQ(capsules.size(), 1);
    EXPECT_EQ(capsules.first().first.id, u"b6"_s);
    EXPECT_FALSE(store->errorText->has_value());
}

TEST_F(StoreFixture, ThePauseFollowsTheAnswerAndEverySixthCycleAsksForTheStatus)
{
    startJoined();
    const auto polls = [&] { return server.requestsTo("/beams").size(); };
    server.hold("/beams");
    queue.advance(std::chrono::seconds(2));
    ASSERT_TRUE(eventually([&] { return polls() == 2; }));
    queue.advance(std::chrono::seconds(60));
    EXPECT_EQ(polls(), 2) << "a slow server is not asked twice";
    server.release("/beams");
    ASSERT_TRUE(settled());
    queue.advance(std::chrono::milliseconds(1999));
    EXPECT_EQ(polls(), 2);
    QList<qsizetype> statuses;
    for (int cycle = 2; cycle <= 12; ++cycle) {
        nextCycle();
        statuses.append(server.requestsTo("/me").size());
    }
    EXPECT_EQ(statuses, (QList<qsizetype>{2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 4}));
    store->circleId = QString();
    queue.advance(std::chrono::seconds(30));
    EXPECT_EQ(polls(), 13);
}

TEST_F(StoreFixture, RestartingReplacesTheTaskAndPrimesAgain)
{
    startJoined(pollReply({beamJson("b1")}, 1000));
    const auto polls = [&] { return server.requestsTo("/beams").size(); };
    server.hold("/beams");
    bool done = false;
    store->poll(1).then([&] { done = true; });
    ASSERT_TRUE(eventually([&] { return polls() == 2; }));
    store->startPolling();
    ASSERT_TRUE(eventually([&] { return polls() == 3; }));
    EXPECT_TRUE(server.requestsTo("/beams").last().target.endsWith("since=0"));
    server.answer("/beams", pollReply({beamJson("late")}, 1001));
    server.answer("/beams", pollReply({beamJson("b1"), beamJson("b2")}, 1002));
    server.release("/beams");
    ASSERT_TRUE(eventually([&] { return done && feedIds().endsWith(u"b2"); }));
    ASSERT_TRUE(settled());
    EXPECT_EQ(feedIds(), u"b1 b1 b2"_s) << "the seen set was emptied, the feed was not";
    EXPECT_EQ(shown, QString());
    nextCycle();
    EXPECT_EQ(polls(), 4) << "one task, not two";
}

TEST_F(StoreFixture, AnOpenedCapsuleTakesItsPlaceAndIsShown)
{
    const QByteArray sealed = R"(,"sealed":1,"open_at":1700000060)";
    startJoined();
    server.answer("/history", historyReply({beamJson("b1", sealed), beamJson("b2")}));
    run(store->loadHistory());
    ASSERT_EQ(capsules.size(), 1);

    server.answer("/capsule", "", 404);
    server.answer("/capsule", beamJson("b1", R"(,"open_at":1700000060,"effect":"shake")"));
    server.answer("/capsule", beamJson("b9", R"(,"open_at":1700000060)"));
    const auto open = [&] {
        const auto before = server.requestsTo("/capsule").size();
        capsules.first().second(capsules.first().first);
        EXPECT_TRUE(eventually([&] { return server.requestsTo("/capsule").size() == before + 1; }));
    };
    open();
    EXPECT_EQ(shown, QString());
    EXPECT_TRUE(store->feed->first().isSealed());
    open();
    ASSERT_TRUE(eventually([&] { return !shown.isEmpty(); }));
    EXPECT_FALSE(store->feed->first().isSealed());
    EXPECT_EQ(feedIds(), u"b1 b2"_s);
    EXPECT_EQ(server.requestsTo("/capsule").last().target, "/capsule?id=b1&circle_id=c1");
    open();
    ASSERT_TRUE(eventually([&] { return feedIds() == u"b1 b2 b9"_s; })) << "unknown, so appended";
    EXPECT_EQ(shown, u"b1 b9 "_s) << "whatever the effect";
}

TEST_F(StoreFixture, NothingOutlivesAStoreThatIsGone)
{
    startJoined();
    server.answer("/beams", pollReply({beamJson("b1", R"(,"sealed":1,"open_at":9)")}, 1001));
    nextCycle();
    ASSERT_EQ(capsules.size(), 1);
    const std::weak_ptr<Store> weak = store;
    store.reset();
    queue.advance(std::chrono::seconds(2));
    EXPECT_TRUE(weak.expired());
    const auto before = server.requests().size();
    capsules.first().second(capsules.first().first);
    queue.advance(std::chrono::minutes(1));
    EXPECT_EQ(server.requests().size(), before);
    EXPECT_EQ(queue.pending(), 0);
}
