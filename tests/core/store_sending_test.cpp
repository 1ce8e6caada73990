#include "core/store_fixture.h"

using namespace kivolo;

namespace {

class SendingTest : public StoreFixture
{
protected:
    void SetUp() override
    {
        StoreFixture::SetUp();
        startJoined();
    }

    void run(QCoro::Task<> operation)
    {
        bool done = false;
        operation.then([&] { done = true; });
        EXPECT_TRUE(eventually([&] { return done; }));
    }

    QCoro::Task<> send(const char *body, std::optional<QString> effect = {},
                       std::optional<qint64> openAt = {})
    {
        return store->send({QStringLiteral("text"), QString::fromUtf8(body), effect, openAt});
    }

    QStringList lastKeys()
    {
        return QJsonDocument::fromJson(server.requestsTo("/beam").last().body).object().keys();
    }
};

} // namespace

TEST_F(SendingTest, EachKindCarriesItsFields)
{
    server.answer("/beam", R"({"ok":true,"id":"s1","created_at":1234})");
    const QStringList plain{QStringLiteral("body"), QStringLiteral("circle_id"),
                            QStringLiteral("from_member"), QStringLiteral("type")};
    run(send("hello"));
    EXPECT_EQ(lastKeys(), plain);
    run(send("hello", QStringLiteral("shake")));
    EXPECT_EQ(lastKeys().size(), 5);
    EXPECT_TRUE(lastKeys().contains(QStringLiteral("effect")));
    run(send("hello", {}, 1'700'086'400));
    EXPECT_TRUE(server.requestsTo("/beam").last().body.contains("\"open_at\":1700086400"));
    const Beam &capsule = store->feed->last();
    EXPECT_EQ(capsule.open_at, 1'700'086'400);
    EXPECT_FALSE(capsule.sealed.has_value());
}

TEST_F(SendingTest, TheOwnCopyIsTheServersBeam)
{
    server.answer("/beam", R"({"ok":false,"id":"s1","created_at":1234})");
    server.answer("/beam", R"({"ok":true})");
    run(send("hello"));
    const Beam first = store->feed->last();
    EXPECT_EQ(first.id, QStringLiteral("s1"));
    EXPECT_EQ(first.created_at, 1234);
    EXPECT_EQ(first.from_handle, QStringLiteral("Ana"));
    EXPECT_EQ(first.from_emoji, QStringLiteral("🦊"));
    EXPECT_EQ(first.from_member, QStringLiteral("me"));
    run(send("again"));
    EXPECT_EQ(store->feed->last().id.size(), 36);
    EXPECT_EQ(store->feed->last().created_at, queue.now());

    server.answer("/beams", beamsReply({beam("s1"), beam(store->feed->last().id.toUtf8())}, 1001));
    nextCycle();
    EXPECT_EQ(store->feed->size(), 2) << "a poll that returns them adds nothing";
    EXPECT_TRUE(shown.isEmpty());
}

TEST_F(SendingTest, AFailureIsTextAndSendingLastsUntilTheStatusCame)
{
    server.answer("/beam", R"({"error":"You are not in this circle."})", 403);
    server.hold("/me");
    bool done = false;
    send("hello").then([&] { done = true; });
    EXPECT_TRUE(store->sending);
    const auto before = server.requestsTo("/me").size();
    ASSERT_TRUE(eventually([&] { return server.requestsTo("/me").size() == before + 1; }));
    EXPECT_EQ(**store->errorText, QStringLiteral("You are not in this circle."));
    EXPECT_TRUE(store->sending);
    server.release("/me");
    ASSERT_TRUE(eventually([&] { return done; }));
    EXPECT_FALSE(store->sending);
    EXPECT_TRUE(store->feed->isEmpty());

    server.answer("/beam", R"({"ok":true})");
    run(send("hello"));
    EXPECT_EQ(store->feed->size(), 1);
    EXPECT_TRUE(store->errorText->has_value()) << "a success does not clear it";
}

TEST_F(SendingTest, OverlappingSendsAppendInTheOrderOfCompletion)
{
    server.answer("/beam", R"({"ok":true,"id":"s1"})");
    server.answer("/beam", R"({"ok":true,"id":"s2"})");
    server.hold("/beam");
    int done = 0;
    send("one").then([&] { ++done; });
    send("two").then([&] { ++done; });
    ASSERT_TRUE(eventually([&] { return server.requestsTo("/beam").size() == 2; }));
    server.releaseNewest("/beam");
    ASSERT_TRUE(eventually([&] { return done == 1; }));
    EXPECT_EQ(store->feed->last().body, QStringLiteral("two"));
    EXPECT_FALSE(store->sending) << "the first to finish sets it, whatever else is under way";
    server.releaseNewest("/beam");
    ASSERT_TRUE(eventually([&] { return done == 2; }));
    EXPECT_EQ(store->feed->last().body, QStringLiteral("one"));
    EXPECT_FALSE(store->sending);
}

TEST_F(SendingTest, AReplyAfterLeavingIsAppliedToTheStateAsItIs)
{
    server.answer("/beam", R"({"ok":true,"id":"s1"})");
    server.hold("/beam");
    bool done = false;
    send("hello").then([&] { done = true; });
    ASSERT_TRUE(eventually([&] { return server.requestsTo("/beam").size() == 1; }));
    store->leave();
    server.release("/beam");
    ASSERT_TRUE(eventually([&] { return done; }));
    EXPECT_EQ(store->feed->last().from_member, QString());
    EXPECT_FALSE(store->sending);
}

TEST_F(SendingTest, WithoutACircleNothingIsSent)
{
    store->leave();
    run(send("hello"));
    run(store->loadHistory());
    EXPECT_FALSE(store->sending);
    EXPECT_TRUE(server.requestsTo("/beam").isEmpty() && server.requestsTo("/history").isEmpty());
}

TEST_F(SendingTest, HistoryReplacesTheFeedAndSurfacesOthersSealedCapsules)
{
    const QByteArray ahead = R"(,"sealed":1,"open_at":)" + QByteArray::number(queue.now() + 10);
    server.answer("/beams", beamsReply({beam("old")}, 1001));
    nextCycle();
    shown.clear();
    server.answer("/history", "", 500);
    server.answer(
        "/history",
        R"({"beams":[)" +
            QByteArrayList{
                beam("h1"), beam("h2", ahead), beam("h3", ahead + R"(,"from_member":"me")"),
                beam("h4", R"(,"sealed":1,"open_at":)" + QByteArray::number(queue.now())),
                beam("h5", R"(,"sealed":1)"), beam("h6", R"(,"sealed":0,"open_at":99999999999)")}
                .join(',') +
            "]}");
    run(store->loadHistory());
    EXPECT_EQ(feedIds(), QStringList{QStringLiteral("old")}) << "a failure leaves the feed";
    run(store->loadHistory());
    EXPECT_EQ(feedIds().size(), 6);
    ASSERT_EQ(capsules.size(), 1);
    EXPECT_EQ(capsules.first().first.id, QStringLiteral("h2"));
    EXPECT_EQ(server.requestsTo("/history").last().target, "/history?circle_id=c1&limit=40");

    server.answer("/beams", beamsReply({beam("old"), beam("h1"), beam("new")}, 1002));
    nextCycle();
    EXPECT_EQ(feedIds().size(), 7) << "what was replaced or loaded stays seen";
    EXPECT_EQ(shown, (QList<Shown>{{QStringLiteral("new"), false}}));
}
