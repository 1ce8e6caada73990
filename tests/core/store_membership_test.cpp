#include "core/store_fixture.h"

using namespace kivolo;
using namespace Qt::StringLiterals;

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
        server.answer("/beams", pollReply({}, 1000));
        start();
        ASSERT_TRUE(eventually([&] { return store->screen == Store::Screen::onboarding; }));
        store->handle = u"Ana"_s;
    }
};

} // namespace

TEST_F(MembershipTest, WhatIsMissingIsSaidWithoutARequest)
{
    const QString spaces = u" \t\u00a0\u2003\u3000"_s;
    for (const auto &[name, code] :
         {std::pair(QString(), u"AB12"_s), {spaces, u"AB12"_s}, {u"Ana"_s, spaces}}) {
        store->handle = name;
        store->code = code;
        run(store->join());
        EXPECT_EQ(**store->errorText, u"Enter your name and a code."_s);
    }
    store->handle = spaces;
    run(store->createCircle());
    EXPECT_EQ(**store->errorText, u"Enter your name first."_s);
    EXPECT_TRUE(server.requestsTo("/join").isEmpty());
    EXPECT_TRUE(server.requestsTo("/circle/create").isEmpty());
}

TEST_F(MembershipTest, JoiningSendsTrimmedTextAndTakesTheReply)
{
    server.answer("/join", "", 500);
    server.answer("/join", joinReply());
    store->handle = u"\nAna "_s;
    store->code = u"AB\n"_s;
    run(store->join());
    EXPECT_EQ(server.requestsTo("/join").last().body,
              R"({"code":"AB\n","device_id":"device","emoji":"💜","handle":"\nAna"})")
        << "line breaks are not trimmed";
    store->handle = u"  Ana\t"_s;
    store->code = u" abß2\u00a0"_s;
    run(store->join());
    EXPECT_EQ(server.requestsTo("/join").last().body,
              R"({"code":"ABSS2","device_id":"device","emoji":"💜","handle":"Ana"})");
    EXPECT_EQ(*store->handle, u"  Ana\t"_s);
    EXPECT_EQ(*store->code, u"AB12"_s);
    EXPECT_EQ(store->maxSeats, 4) << "the status request after it failed";
    EXPECT_EQ(store->members->size(), 1);
    EXPECT_EQ(store->screen, Store::Screen::joined);
    EXPECT_FALSE(store->errorText->has_value());
    EXPECT_TRUE(eventually([&] { return !server.requestsTo("/beams").isEmpty(); }));
}

TEST_F(MembershipTest, NothingOfACircleThatWasLeftReachesTheNext)
{
    server.answer("/join", joinReply());
    server.answer("/history",
                  historyReply({beamJson("b1", R"(,"sealed":1,"open_at":1700000060)")}));
    store->code = u"AB12"_s;
    run(store->join());
    run(store->loadHistory());
    ASSERT_EQ(capsules.size(), 1);
    ASSERT_TRUE(settled());
    const auto asked = [&](const char *path) { return server.requestsTo(path).size(); };
    for (const char *path : {"/beam", "/history", "/capsule", "/me"})
        server.hold(path);
    int done = 0;
    const auto count = [&done] { ++done; };
    store->poll(0).then(count);
    ASSERT_TRUE(eventually([&] { return asked("/me") == 4; })) << "after the beams";
    server.hold("/beams");
    store->poll(1).then(count);
    store->loadHistory().then(count);
    store->send({u"text"_s, u"to the first"_s}).then(count);
    capsules.first().second(capsules.first().first);
    ASSERT_TRUE(eventually([&] {
        return asked("/beams") == 3 && asked("/history") == 2 && asked("/beam") == 1 &&
               asked("/capsule") == 1;
    }));

    store->leave();
    server.answer("/join", joinReply().replace("c1", "c2"));
    store->code = u"CD34"_s;
    store->join().then(count);
    ASSERT_TRUE(eventually([&] { return *store->circleId == u"c2"_s && asked("/me") == 5; }));
    EXPECT_EQ(store->screen, Store::Screen::joined) << "before the status answer";
    EXPECT_EQ(asked("/beams"), 3) << "polling starts after it";
    server.answer("/beams", pollReply({beamJson("late")}, 1001));
    server.answer("/beams", pollReply({beamJson("new")}, 1002));
    server.answer("/history", historyReply({beamJson("late")}));
    server.answer("/beam", R"({"ok":true,"id":"late"})");
    server.answer("/capsule", beamJson("b1"));
    for (const char *path : {"/capsule", "/beams", "/beam", "/history"})
        server.release(path);
    ASSERT_TRUE(eventually([&] { return done == 3; }));
    EXPECT_EQ(feedIds(), QString());
    EXPECT_FALSE(store->sending);

    // What is asked for here and now is taken, although polling has not started yet.
    server.answer("/history", historyReply({beamJson("own")}));
    run(store->loadHistory());
    EXPECT_EQ(feedIds(), u"own"_s);
    server.answer("/me", R"({"joined":true,"code":"LATE","members":[]})");
    server.answer("/me", R"({"joined":true})");
    server.release("/me");
    ASSERT_TRUE(eventually([&] { return done == 5 && feedIds() == u"own new"_s; }));
    EXPECT_EQ(*store->code, u"AB12"_s);
    EXPECT_EQ(store->members->size(), 1);
    EXPECT_EQ(shown, QString());
}

TEST_F(MembershipTest, CreatingJoinsWithTheNewCode)
{
    server.answer("/circle/create", R"({"error":"No more circles today."})", 503);
    server.answer("/circle/create", R"({"circle_id":"zz","code":"NEW1","max_seats":9})");
    server.answer("/join", R"({"error":"That code is not known."})", 404);
    server.answer("/join", joinReply());
    run(store->createCircle());
    EXPECT_EQ(**store->errorText, u"No more circles today."_s);
    EXPECT_TRUE(server.requestsTo("/join").isEmpty());
    EXPECT_TRUE(store->code->isEmpty());

    run(store->createCircle());
    EXPECT_EQ(server.requestsTo("/circle/create").last().body,
              R"({"device_id":"device","owner_email":""})");
    EXPECT_TRUE(server.requestsTo("/join").last().body.contains(R"("code":"NEW1")"));
    EXPECT_EQ(**store->errorText, u"That code is not known."_s);
    EXPECT_EQ(*store->code, u"NEW1"_s);
    EXPECT_EQ(store->screen, Store::Screen::onboarding);

    run(store->createCircle());
    EXPECT_EQ(store->screen, Store::Screen::joined);
    EXPECT_EQ(*store->circleId, u"c1"_s);
    EXPECT_FALSE(store->errorText->has_value());
}
