// Start-up, status answers, leaving.
#include "core/store_fixture.h"

using namespace kivolo;
using namespace Qt::StringLiterals;

TEST_F(StoreFixture, RestoringFromEachKindOfStatusAnswer)
{
    const struct
    {
        QByteArray reply;
        int status;
        qint64 maxSeats; // 0: no circle
    } cases[] = {
        {joinedStatus(), 200, 3},
        {R"({"joined":true,"circle_id":"c","member_id":"m"})", 200, 5},
        {R"({"joined":true,"circle_id":"c"})", 200, 0},
        {R"({"joined":true,"member_id":"m","max_seats":9})", 200, 0},
        {R"({"joined":false,"circle_id":"c","member_id":"m"})", 200, 0},
        {"<html>", 200, 0},
        {"", 426, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.reply.constData());
        ScriptedServer one;
        one.serveThisProcess();
        one.answer("/me", c.reply, c.status);
        start();
        EXPECT_EQ(store->screen, Store::Screen::loading);
        ASSERT_TRUE(eventually([&] { return store->screen != Store::Screen::loading; }));
        const bool joined = c.maxSeats > 0;
        EXPECT_EQ(store->screen == Store::Screen::joined, joined);
        EXPECT_EQ(store->circleId->isEmpty(), !joined);
        EXPECT_EQ(store->maxSeats, joined ? c.maxSeats : 5);
        EXPECT_FALSE(store->errorText->has_value());
        EXPECT_TRUE(
            eventually([&] { return (c.status == 426) == store->forceUpdate->has_value(); }));
        store->leave();
        queue.advance(std::chrono::milliseconds(0));
    }
}

TEST_F(StoreFixture, PropertiesAreAnnouncedInOrderBeforeEachAssignment)
{
    server.answer("/me", joinedStatus());
    start();
    QStringList seen;
    QObject observer;
    QObject::connect(store.get(), &Store::objectWillChange, &observer, [&] {
        seen.append(QStringList{*store->circleId, *store->memberId, *store->code, *store->handle,
                                QString::number(store->members->size()),
                                QString::number(store->maxSeats)}
                        .join(u'|'));
    });
    ASSERT_TRUE(eventually([&] { return store->screen == Store::Screen::joined; }));
    // applyStatus: the members once more, then the code; at last the screen.
    EXPECT_EQ(seen, (QStringList{u"||||0|5"_s, u"c1||||0|5"_s, u"c1|me|||0|5"_s,
                                 u"c1|me|AB12CD34||0|5"_s, u"c1|me|AB12CD34|Ana|0|5"_s,
                                 u"c1|me|AB12CD34|Ana|2|5"_s, u"c1|me|AB12CD34|Ana|2|3"_s,
                                 u"c1|me|AB12CD34|Ana|2|3"_s, u"c1|me|AB12CD34|Ana|2|3"_s}));
}

TEST_F(StoreFixture, ALaterStatusChangesMembersAndCodeOnly)
{
    startJoined();
    EXPECT_EQ(store->myEmoji(), u"🦊"_s);
    MeResponse status;
    status.circle_id = u"other"_s;
    status.handle = u"Other"_s;
    status.max_seats = 9;
    store->applyStatus(status);
    EXPECT_EQ(store->members->size(), 2);
    EXPECT_EQ(*store->code, u"AB12CD34"_s);
    status.members = QList<Member>();
    status.code = u"NEW"_s;
    store->applyStatus(status);
    EXPECT_TRUE(store->members->isEmpty());
    EXPECT_EQ(*store->code, u"NEW"_s);
    EXPECT_EQ(store->screen, Store::Screen::joined);
    EXPECT_EQ(*store->circleId, u"c1"_s);
    EXPECT_EQ(*store->handle, u"Ana"_s);
    EXPECT_EQ(store->maxSeats, 3);
    EXPECT_EQ(store->myEmoji(), u"💜"_s);
}

TEST_F(StoreFixture, LeavingIsLocalAndKeepsTheName)
{
    startJoined(pollReply({beamJson("b1")}, 1000));
    const auto before = server.requests().size();
    store->leave();
    EXPECT_EQ(store->screen, Store::Screen::onboarding);
    EXPECT_EQ(*store->handle, u"Ana"_s);
    EXPECT_TRUE(store->circleId->isEmpty() && store->memberId->isEmpty() && store->code->isEmpty());
    EXPECT_TRUE(store->feed->isEmpty() && store->members->isEmpty());
    EXPECT_EQ(store->maxSeats, 3);
    queue.advance(std::chrono::minutes(1));
    EXPECT_EQ(server.requests().size(), before);
    EXPECT_EQ(queue.pending(), 0) << "the polling task has ended";
}
