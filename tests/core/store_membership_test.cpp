#include "core/store_fixture.h"

using namespace kivolo;

namespace {

QByteArray joinReply()
{
    return R"({"circle_id":"c1","member_id":"me","code":"AB12","max_seats":4,)"
           R"("members":[{"id":"me","handle":"Ana","emoji":"💜"}]})";
}

class MembershipTest : public StoreFixture
{
protected:
    void SetUp() override
    {
        StoreFixture::SetUp();
        server.answer("/me", "", 500);
        server.answer("/beams", beamsReply({}, 1000));
        start();
        ASSERT_TRUE(eventually([&] { return store->screen == Store::Screen::onboarding; }));
    }

    void run(QCoro::Task<> operation)
    {
        bool done = false;
        operation.then([&] { done = true; });
        EXPECT_TRUE(eventually([&] { return done; }));
    }

    QJsonObject lastBody(const QByteArray &path)
    {
        return QJsonDocument::fromJson(server.requestsTo(path).last().body).object();
    }
};

} // namespace

TEST_F(MembershipTest, WhatIsMissingIsSaidWithoutARequest)
{
    const struct
    {
        const char16_t *handle;
        const char16_t *code;
        QString onJoin;
        QString onCreate;
    } cases[] = {
        {u"", u"", QStringLiteral("Enter your name and a code."),
         QStringLiteral("Enter your name first.")},
        {u" \t\u00a0\u2003\u3000", u"AB12", QStringLiteral("Enter your name and a code."),
         QStringLiteral("Enter your name first.")},
    };
    for (const auto &c : cases) {
        store->handle = QString::fromUtf16(c.handle);
        store->code = QString::fromUtf16(c.code);
        run(store->join());
        EXPECT_EQ(**store->errorText, c.onJoin);
        run(store->createCircle());
        EXPECT_EQ(**store->errorText, c.onCreate);
    }
    store->handle = QStringLiteral("Ana");
    store->code = QStringLiteral(" \t");
    run(store->join());
    EXPECT_EQ(**store->errorText, QStringLiteral("Enter your name and a code."));
    EXPECT_TRUE(server.requestsTo("/join").isEmpty() &&
                server.requestsTo("/circle/create").isEmpty());
}

TEST_F(MembershipTest, JoiningSendsTrimmedTextAndTakesTheReply)
{
    server.answer("/join", joinReply());
    store->handle = QStringLiteral("  Ana\t");
    store->code = QStringLiteral(" abß2\u00a0");
    run(store->join());
    EXPECT_EQ(lastBody("/join"),
              (QJsonObject{{QStringLiteral("code"), QStringLiteral("ABSS2")},
                           {QStringLiteral("handle"), QStringLiteral("Ana")},
                           {QStringLiteral("device_id"), QStringLiteral("device")},
                           {QStringLiteral("emoji"), QStringLiteral("💜")}}));
    EXPECT_EQ(store->handle.get(), QStringLiteral("  Ana\t"));
    EXPECT_EQ(store->code.get(), QStringLiteral("AB12"));
    EXPECT_EQ(store->maxSeats, 4) << "the status request after it failed";
    EXPECT_EQ(store->members->size(), 1);
    EXPECT_EQ(store->screen, Store::Screen::joined);
    EXPECT_FALSE(store->errorText->has_value());
    EXPECT_TRUE(eventually([&] { return !server.requestsTo("/beams").isEmpty(); }));
}

TEST_F(MembershipTest, LineBreaksAreNotTrimmed)
{
    server.answer("/join", "", 500);
    store->handle = QStringLiteral("\nAna ");
    store->code = QStringLiteral("AB\n");
    run(store->join());
    EXPECT_EQ(lastBody("/join").value(QStringLiteral("handle")), QStringLiteral("\nAna"));
    EXPECT_EQ(lastBody("/join").value(QStringLiteral("code")), QStringLiteral("AB\n"));
}

TEST_F(MembershipTest, TheScreenChangesBeforeTheStatusAnswer)
{
    server.answer("/join", joinReply());
    server.hold("/me");
    store->handle = QStringLiteral("Ana");
    store->code = QStringLiteral("AB12");
    bool done = false;
    store->join().then([&] { done = true; });
    ASSERT_TRUE(eventually([&] { return store->screen == Store::Screen::joined; }));
    ASSERT_TRUE(eventually([&] { return server.requestsTo("/me").size() == 2; }));
    EXPECT_FALSE(done);
    EXPECT_TRUE(server.requestsTo("/beams").isEmpty()) << "polling starts after the status answer";
    server.release("/me");
    EXPECT_TRUE(eventually([&] { return done; }));
}

TEST_F(MembershipTest, NothingOfACircleThatWasLeftReachesTheNext)
{
    server.answer("/join", joinReply());
    store->handle = QStringLiteral("Ana");
    store->code = QStringLiteral("AB12");
    run(store->join());
    ASSERT_TRUE(settled());
    for (const char *path : {"/beams", "/beam", "/history", "/me"})
        server.hold(path);
    int done = 0;
    const auto count = [&done] { ++done; };
    store->poll(1).then(count);
    store->loadHistory().then(count);
    store->send({QStringLiteral("text"), QStringLiteral("to the first")}).then(count);
    ASSERT_TRUE(eventually([&] {
        return server.requestsTo("/beams").size() == 2 &&
               server.requestsTo("/history").size() == 1 && server.requestsTo("/beam").size() == 1;
    }));

    store->leave();
    server.answer("/join", joinReply().replace("c1", "c2"));
    store->code = QStringLiteral("CD34");
    store->join().then(count);
    ASSERT_TRUE(eventually([&] { return store->circleId.get() == QStringLiteral("c2"); }));
    server.answer("/beams", beamsReply({beam("late")}, 1001));
    server.answer("/beams", beamsReply({beam("new")}, 1002));
    server.answer("/history", R"({"beams":[)" + beam("late") + "]}");
    server.answer("/beam", R"({"ok":true,"id":"late"})");
    for (const char *path : {"/beams", "/beam", "/history"})
        server.release(path);
    ASSERT_TRUE(eventually([&] { return done == 3; }));
    EXPECT_TRUE(store->feed->isEmpty());
    EXPECT_FALSE(store->sending);

    // What is asked for here and now is taken, although polling has not started yet.
    server.answer("/history", R"({"beams":[)" + beam("own") + "]}");
    server.hold("/history");
    store->loadHistory().then(count);
    ASSERT_TRUE(eventually([&] { return server.requestsTo("/history").size() == 2; }));
    server.release("/me");
    ASSERT_TRUE(eventually([&] { return feedIds() == QStringList{QStringLiteral("new")}; }));
    server.release("/history");
    ASSERT_TRUE(eventually([&] { return done == 5; }));
    EXPECT_EQ(feedIds(), QStringList{QStringLiteral("own")});
    EXPECT_TRUE(shown.isEmpty());
}

TEST_F(MembershipTest, CreatingJoinsWithTheNewCode)
{
    server.answer("/circle/create", R"({"circle_id":"zz","code":"NEW1","max_seats":9})");
    server.answer("/join", R"({"error":"That code is not known."})", 404);
    server.answer("/join", joinReply());
    store->handle = QStringLiteral("Ana");
    run(store->createCircle());
    EXPECT_EQ(lastBody("/circle/create").value(QStringLiteral("owner_email")), QString());
    EXPECT_EQ(lastBody("/join").value(QStringLiteral("code")), QStringLiteral("NEW1"));
    EXPECT_EQ(**store->errorText, QStringLiteral("That code is not known."));
    EXPECT_EQ(store->code.get(), QStringLiteral("NEW1"));
    EXPECT_EQ(store->screen, Store::Screen::onboarding);

    run(store->createCircle());
    EXPECT_EQ(store->screen, Store::Screen::joined);
    EXPECT_EQ(store->circleId.get(), QStringLiteral("c1"));
    EXPECT_FALSE(store->errorText->has_value());
}

TEST_F(MembershipTest, AFailedCreationIsReported)
{
    server.answer("/circle/create", R"({"error":"No more circles today."})", 503);
    store->handle = QStringLiteral("Ana");
    run(store->createCircle());
    EXPECT_EQ(**store->errorText, QStringLiteral("No more circles today."));
    EXPECT_TRUE(server.requestsTo("/join").isEmpty());
    EXPECT_TRUE(store->code->isEmpty());
}
