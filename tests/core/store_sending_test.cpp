#include "core/store_fixture.h"

using namespace kivolo;
using namespace Qt::StringLiterals;

namespace {

class SendingTest : public StoreFixture
{
protected:
    void SetUp() override
    {
        StoreFixture::SetUp();
        startJoined();
    }

    QCoro::Task<> send(const QString &body) { return store->send({u"text"_s, body}); }
};

} // namespace

TEST_F(SendingTest, TheOwnCopyIsTheServersBeam)
{
    server.answer("/beam", R"({"ok":false,"id":"s1","created_at":1234})");
    server.answer("/beam", R"({"ok":true})");
    run(send(u"hello"_s));
    EXPECT_EQ(server.requestsTo("/beam").last().body,
              R"({"body":"hello","circle_id":"c1","from_member":"me","type":"text"})");
    const Beam first = store->feed->last();
    EXPECT_EQ(first.id, u"s1"_s);
    EXPECT_EQ(first.created_at, 1234);
    EXPECT_EQ(first.from_handle, u"Ana"_s);
    EXPECT_EQ(first.from_emoji, u"🦊"_s);
    EXPECT_EQ(first.from_member, u"me"_s);

    run(store->send({u"text"_s, u"again"_s, u"shake"_s, 1'700'086'400}));
    const QByteArray sent = server.requestsTo("/beam").last().body;
    EXPECT_TRUE(sent.contains(R"("effect":"shake")"));
    EXPECT_TRUE(sent.contains(R"("open_at":1700086400)"));
    const Beam second = store->feed->last();
    EXPECT_EQ(second.id.size(), 36);
    EXPECT_EQ(second.created_at, queue.now());
    EXPECT_TRUE(second.isBuzz());
    EXPECT_EQ(second.open_at, 1'700'086'400);
    EXPECT_FALSE(second.sealed.has_value());

    server.answer("/beams", pollReply({beamJson("s1"), beamJson(second.id.toUtf8())}, 1001));
    nextCycle();
    EXPECT_EQ(store->feed->size(), 2) << "a poll that returns them adds nothing";
    EXPECT_EQ(shown, QString());
}

TEST_F(SendingTest, AFailureIsTextAndSendingLastsUntilTheStatusCame)
{
    server.answer("/beam", R"({"error":"You are not in this circle."})", 403);
    server.hold("/me");
    bool done = false;
    send(u"hello"_s).then([&] { done = true; });
    const auto before = server.requestsTo("/me").size();
    ASSERT_TRUE(eventually([&] { return server.requestsTo("/me").size() == before + 1; }));
    EXPECT_EQ(**store->errorText, u"You are not in this circle."_s);
    EXPECT_TRUE(store->sending);
    server.release("/me");
    ASSERT_TRUE(eventually([&] { return done; }));
    EXPECT_FALSE(store->sending);
    EXPECT_TRUE(store->feed->isEmpty());
}

TEST_F(SendingTest, OverlappingSendsAppendInTheOrderOfCompletion)
{
    server.answer("/beam", R"({"ok":true,"id":"s1"})");
    server.answer("/beam", R"({"ok":true,"id":"s2"})");
    server.hold("/beam");
    int done = 0;
    send(u"one"_s).then([&] { ++done; });
    send(u"two"_s).then([&] { ++done; });
    ASSERT_TRUE(eventually([&] { return server.requestsTo("/beam").size() == 2; }));
    server.releaseNewest("/beam");
    ASSERT_TRUE(eventually([&] { return done == 1; }));
    EXPECT_EQ(store->feed->last().body, u"two"_s);
    EXPECT_FALSE(store->sending) << "the first to finish sets it, whatever else is under way";
    store->leave();
    server.releaseNewest("/beam");
    ASSERT_TRUE(eventually([&] { return done == 2; }));
    EXPECT_EQ(store->feed->last().body, u"one"_s);
    EXPECT_EQ(store->feed->last().from_member, QString()) << "the state as it is now";

    run(send(u"hello"_s)); // outside a circle
    run(store->loadHistory());
    EXPECT_EQ(server.requestsTo("/beam").size(), 2);
    EXPECT_TRUE(server.requestsTo("/history").isEmpty());
    EXPECT_FALSE(store->sending);
}

TEST_F(SendingTest, HistoryReplacesTheFeedAndSurfacesOthersSealedCapsules)
{
    const auto opensAt = [](qint64 time) {
        return R"(,"sealed":1,"open_at":)" + QByteArray::number(time);
    };
    const QByteArray ahead = opensAt(queue.now() + 10);
    server.answer("/beams", pollReply({beamJson("old")}, 1001));
    nextCycle();
    server.answer("/history", "", 500);
    server.answer(
        "/history",
        historyReply({beamJson("h1"), beamJson("h2", ahead),
                      beamJson("h3", ahead + R"(,"from_member":"me")"),
                      beamJson("h4", opensAt(queue.now())), beamJson("h5", R"(,"sealed":1)"),
                      beamJson("h6", R"(,"sealed":0,"open_at":99999999999)")}));
    run(store->loadHistory());
    EXPECT_EQ(feedIds(), u"old"_s) << "a failure leaves the feed";
    run(store->loadHistory());
    EXPECT_EQ(feedIds(), u"h1 h2 h3 h4 h5 h6"_s);
    ASSERT_EQ(capsules.size(), 1);
    EXPECT_EQ(capsules.first().first.id, u"h2"_s);
    EXPECT_EQ(server.requestsTo("/history").last().target, "/history?circle_id=c1&limit=40");

    server.answer("/beams", pollReply({beamJson("old"), beamJson("h1"), beamJson("new")}, 1002));
    nextCycle();
    EXPECT_EQ(feedIds(), u"h1 h2 h3 h4 h5 h6 new"_s) << "what was replaced or loaded stays seen";
    EXPECT_EQ(shown, u"old new "_s);
}
