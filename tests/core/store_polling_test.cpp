#include "core/store_fixture.h"

using namespace kivolo;

TEST_F(StoreFixture, TheFirstAnswerPrimesInSilenceAndLaterOnesAreShown)
{
    startJoined(beamsReply({beam("b1"), beam("b2", R"(,"effect":"shake")")}, 1000));
    EXPECT_EQ(feedIds(), (QStringList{QStringLiteral("b1"), QStringLiteral("b2")}));
    EXPECT_TRUE(shown.isEmpty());
    EXPECT_EQ(server.requestsTo("/beams").last().target,
              "/beams?circle_id=c1&member_id=me&since=0");

    server.answer("/beams", beamsReply({beam("b2"), beam("b3"), beam("b4", R"(,"effect":"shake")"),
                                        beam("b5", R"(,"effect":"Shake")"),
                                        beam("b6", R"(,"sealed":1,"open_at":9,"effect":"shake")"),
                                        beam("b7", R"(,"sealed":0)"), beam("b3")},
                                       2000));
    nextCycle();
    nextCycle();
    EXPECT_EQ(server.requestsTo("/beams").at(1).target,
              "/beams?circle_id=c1&member_id=me&since=999");
    EXPECT_EQ(server.requestsTo("/beams").last().target,
              "/beams?circle_id=c1&member_id=me&since=1999");
    const auto id = [](const char *text) { return QString::fromLatin1(text); };
    EXPECT_EQ(feedIds().mid(2), (QStringList{id("b3"), id("b4"), id("b5"), id("b6"), id("b7")}));
    EXPECT_EQ(
        shown,
        (QList<Shown>{{id("b3"), false}, {id("b4"), true}, {id("b5"), false}, {id("b7"), false}}));
    ASSERT_EQ(capsules.size(), 1);
    EXPECT_EQ(capsules.first().first.id, id("b6"));
}

TEST_F(StoreFixture, AFailedCycleChangesNothingButStillAsksForTheStatus)
{
    server.answer("/me", joinedStatus());
    server.answer("/beams", "", 500);
    server.answer("/beams", R"({"beams":[{}],"server_time":9})");
    server.answer("/beams", beamsReply({beam("b1")}, 1000));
    server.answer("/beams", beamsReply({beam("b2")}, 1001));
    start();
    ASSERT_TRUE(eventually([&] { return server.requestsTo("/me").size() == 2; }))
        << "the status of the start and that of the first cycle";
    ASSERT_TRUE(settled());
    nextCycle();
    EXPECT_TRUE(store->feed->isEmpty());
    nextCycle();
    EXPECT_TRUE(shown.isEmpty()) << "the first success primes, whenever it comes";
    nextCycle();
    EXPECT_EQ(shown, (QList<Shown>{{QStringLiteral("b2"), false}}));
    EXPECT_FALSE(store->errorText->has_value());
    const auto polls = server.requestsTo("/beams");
    EXPECT_TRUE(polls.at(2).target.endsWith("since=0"));
    EXPECT_TRUE(polls.at(3).target.endsWith("since=999"));
}

TEST_F(StoreFixture, EverySixthCycleAsksForTheStatus)
{
    startJoined();
    QList<qsizetype> statuses;
    for (int cycle = 1; cycle <= 12; ++cycle) {
        const auto before = server.requestsTo("/me").size();
        nextCycle();
        if (server.requestsTo("/me").size() > before)
            statuses.append(cycle);
    }
    EXPECT_EQ(statuses, (QList<qsizetype>{6, 12}));
}

TEST_F(StoreFixture, ThePauseFollowsTheAnswer)
{
    startJoined();
    server.hold("/beams");
    queue.advance(std::chrono::seconds(2));
    ASSERT_TRUE(eventually([&] { return server.requestsTo("/beams").size() == 2; }));
    queue.advance(std::chrono::seconds(60));
    EXPECT_EQ(server.requestsTo("/beams").size(), 2) << "a slow server is not asked twice";
    server.release("/beams");
    ASSERT_TRUE(settled());
    queue.advance(std::chrono::milliseconds(1999));
    EXPECT_EQ(server.requestsTo("/beams").size(), 2);
}

TEST_F(StoreFixture, CyclesOutsideACircleAskNothing)
{
    startJoined();
    const auto before = server.requests().size();
    store->screen = Store::Screen::onboarding;
    queue.advance(std::chrono::seconds(30));
    store->screen = Store::Screen::joined;
    store->circleId = QString();
    queue.advance(std::chrono::seconds(30));
    EXPECT_EQ(server.requests().size(), before);
    store->circleId = QStringLiteral("c1");
    nextCycle();
    EXPECT_GT(server.requests().size(), before);
}

TEST_F(StoreFixture, RestartingReplacesTheTaskAndPrimesAgain)
{
    startJoined(beamsReply({beam("b1")}, 1000));
    store->startPolling();
    ASSERT_TRUE(eventually([&] { return server.requestsTo("/me").size() == 3; }));
    ASSERT_TRUE(settled());
    EXPECT_TRUE(server.requestsTo("/beams").last().target.endsWith("since=0"));
    EXPECT_EQ(feedIds().size(), 2) << "the seen set was emptied, the feed was not";
    EXPECT_TRUE(shown.isEmpty());
    const auto before = server.requestsTo("/beams").size();
    nextCycle();
    EXPECT_EQ(server.requestsTo("/beams").size(), before + 1) << "one task, not two";
}

TEST_F(StoreFixture, WhatWasAskedForBeforePollingStartedIsNotApplied)
{
    const QByteArray sealed = R"(,"sealed":1,"open_at":1700000060)";
    startJoined();
    server.answer("/beams", beamsReply({beam("b1", sealed)}, 1001));
    nextCycle();
    ASSERT_EQ(capsules.size(), 1);

    const QByteArrayList paths{"/me", "/beams", "/history", "/capsule"};
    QList<qsizetype> asked;
    for (const QByteArray &path : paths) {
        asked.append(server.requestsTo(path).size());
        if (path != "/beams")
            server.hold(path);
    }
    const auto awaitOneMore = [&](qsizetype i) {
        ++asked[i];
        return eventually([&] { return server.requestsTo(paths[i]).size() == asked[i]; });
    };
    int done = 0;
    const auto count = [&done] { ++done; };
    store->poll(0).then(count);
    ASSERT_TRUE(awaitOneMore(1) && awaitOneMore(0)) << "asking for the status";
    server.hold("/beams");
    store->poll(1).then(count);
    store->loadHistory().then(count);
    capsules.first().second(capsules.first().first);
    ASSERT_TRUE(awaitOneMore(1) && awaitOneMore(2) && awaitOneMore(3));

    store->startPolling();
    ASSERT_TRUE(awaitOneMore(1));
    server.answer("/me", R"({"joined":true,"code":"LATE","members":[]})");
    server.answer("/me", joinedStatus());
    server.answer("/beams", beamsReply({beam("late")}, 1002));
    server.answer("/beams", beamsReply({beam("new")}, 1003));
    server.answer("/beams", beamsReply({}, 1004));
    server.answer("/history", R"({"beams":[]})");
    server.answer("/capsule", beam("b1"));
    bool lateStatus = false;
    QObject::connect(store.get(), &Store::objectWillChange, store.get(),
                     [&] { lateStatus |= store->code.get() == QStringLiteral("LATE"); });
    server.releaseAll();
    ASSERT_TRUE(eventually([&] { return done == 3; }));
    ASSERT_TRUE(settled());
    nextCycle();
    EXPECT_EQ(feedIds(), (QStringList{QStringLiteral("b1"), QStringLiteral("new")}));
    EXPECT_TRUE(store->feed->first().isSealed());
    EXPECT_TRUE(shown.isEmpty());
    EXPECT_FALSE(lateStatus);
}

TEST_F(StoreFixture, AnOpenedCapsuleTakesItsPlaceAndIsShown)
{
    const QByteArray sealed = R"(,"sealed":1,"open_at":1700000060)";
    startJoined();
    server.answer("/beams", beamsReply({beam("b1", sealed), beam("b2")}, 1001));
    nextCycle();
    ASSERT_EQ(capsules.size(), 1);
    shown.clear();

    server.answer("/capsule", "", 404);
    server.answer("/capsule", beam("b1", R"(,"open_at":1700000060,"effect":"shake")"));
    server.answer("/capsule", beam("b9", R"(,"open_at":1700000060)"));
    const auto open = [&] {
        const auto before = server.requestsTo("/capsule").size();
        capsules.first().second(capsules.first().first);
        EXPECT_TRUE(eventually([&] { return server.requestsTo("/capsule").size() == before + 1; }));
    };
    open();
    EXPECT_TRUE(shown.isEmpty());
    EXPECT_TRUE(store->feed->first().isSealed());
    open();
    ASSERT_TRUE(eventually([&] { return shown.size() == 1; }));
    EXPECT_EQ(shown.first(), (Shown{QStringLiteral("b1"), false})) << "whatever its effect";
    EXPECT_FALSE(store->feed->first().isSealed());
    EXPECT_EQ(store->feed->size(), 2);
    EXPECT_EQ(server.requestsTo("/capsule").last().target, "/capsule?id=b1&circle_id=c1");
    open();
    ASSERT_TRUE(eventually([&] { return shown.size() == 2; }));
    EXPECT_EQ(feedIds().last(), QStringLiteral("b9")) << "an unknown one is appended";
}

TEST_F(StoreFixture, NothingOutlivesAStoreThatIsGone)
{
    startJoined();
    server.answer("/beams", beamsReply({beam("b1", R"(,"sealed":1,"open_at":9)")}, 1001));
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

TEST_F(StoreFixture, AServerClockOfAnyValueIsSurvived)
{
    const struct
    {
        qint64 serverTime;
        const char *since;
    } cases[] = {
        {std::numeric_limits<qint64>::min(), "since=0"},
        {-5, "since=0"},
        {0, "since=0"},
        {std::numeric_limits<qint64>::max(), "since=9223372036854775806"},
    };
    startJoined();
    for (const auto &c : cases) {
        server.answer("/beams", beamsReply({}, c.serverTime));
        nextCycle();
        nextCycle();
        EXPECT_TRUE(server.requestsTo("/beams").last().target.endsWith(c.since)) << c.since;
    }
}
