// Start-up, status answers, leaving.
#include "core/store_fixture.h"

using namespace kivolo;

TEST_F(StoreFixture, RestoringFromEachKindOfStatusAnswer)
{
    const struct
    {
        QByteArray reply;
        int status;
        Store::Screen screen;
        qint64 maxSeats;
    } cases[] = {
        {joinedStatus(), 200, Store::Screen::joined, 3},
        {R"({"joined":true,"circle_id":"c","member_id":"m"})", 200, Store::Screen::joined, 5},
        {R"({"joined":true,"circle_id":"c"})", 200, Store::Screen::onboarding, 5},
        {R"({"joined":true,"member_id":"m","max_seats":9})", 200, Store::Screen::onboarding, 5},
        {R"({"joined":false,"circle_id":"c","member_id":"m"})", 200, Store::Screen::onboarding, 5},
        {R"({"joined":"yes"})", 200, Store::Screen::onboarding, 5},
        {"<html>", 200, Store::Screen::onboarding, 5},
        {"", 500, Store::Screen::onboarding, 5},
        {"", 426, Store::Screen::onboarding, 5},
    };
    for (const auto &c : cases) {
        ScriptedServer one;
        one.serveThisProcess();
        one.answer("/me", c.reply, c.status);
        start();
        EXPECT_EQ(store->screen, Store::Screen::loading);
        ASSERT_TRUE(eventually([&] { return store->screen != Store::Screen::loading; }));
        EXPECT_EQ(store->screen, c.screen) << c.reply.constData();
        EXPECT_EQ(store->maxSeats, c.maxSeats) << c.reply.constData();
        EXPECT_FALSE(store->errorText->has_value());
        EXPECT_TRUE(
            eventually([&] { return (c.status == 426) == store->forceUpdate->has_value(); }));
        EXPECT_EQ(store->circleId->isEmpty(), c.screen == Store::Screen::onboarding);
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
        seen.append(QStringLiteral("%1|%2|%3|%4|%5|%6")
                        .arg(store->circleId.get(), store->memberId.get(), store->code.get(),
                             store->handle.get())
                        .arg(store->members->size())
                        .arg(store->maxSeats));
    });
    ASSERT_TRUE(eventually([&] { return store->screen == Store::Screen::joined; }));
    EXPECT_EQ(seen,
              (QStringList{QStringLiteral("|||||0|5").mid(1), QStringLiteral("c1||||0|5"),
                           QStringLiteral("c1|me|||0|5"), QStringLiteral("c1|me|AB12CD34||0|5"),
                           QStringLiteral("c1|me|AB12CD34|Ana|0|5"),
                           QStringLiteral("c1|me|AB12CD34|Ana|2|5"),
                           // applyStatus: the members once more, then the code; at last the screen.
                           QStringLiteral("c1|me|AB12CD34|Ana|2|3"),
                           QStringLiteral("c1|me|AB12CD34|Ana|2|3"),
                           QStringLiteral("c1|me|AB12CD34|Ana|2|3")}));
}

TEST_F(StoreFixture, ALaterStatusChangesMembersAndCodeOnly)
{
    startJoined();
    MeResponse status;
    status.joined = false;
    status.circle_id = QStringLiteral("other");
    status.handle = QStringLiteral("Other");
    status.max_seats = 9;
    store->applyStatus(status);
    EXPECT_EQ(store->screen, Store::Screen::joined);
    EXPECT_EQ(store->circleId.get(), QStringLiteral("c1"));
    EXPECT_EQ(store->handle.get(), QStringLiteral("Ana"));
    EXPECT_EQ(store->maxSeats, 3);
    EXPECT_EQ(store->members->size(), 2);
    EXPECT_EQ(store->code.get(), QStringLiteral("AB12CD34"));
    EXPECT_EQ(store->myEmoji(), QStringLiteral("🦊"));
    status.members = QList<Member>();
    status.code = QStringLiteral("NEW");
    store->applyStatus(status);
    EXPECT_TRUE(store->members->isEmpty());
    EXPECT_EQ(store->code.get(), QStringLiteral("NEW"));
    EXPECT_EQ(store->myEmoji(), QStringLiteral("💜"));
}

TEST_F(StoreFixture, LeavingIsLocalAndKeepsTheName)
{
    startJoined(beamsReply({beam("b1")}, 1000));
    const auto before = server.requests().size();
    store->leave();
    EXPECT_EQ(store->screen, Store::Screen::onboarding);
    EXPECT_EQ(store->handle.get(), QStringLiteral("Ana"));
    EXPECT_TRUE(store->circleId->isEmpty() && store->memberId->isEmpty() && store->code->isEmpty());
    EXPECT_TRUE(store->feed->isEmpty() && store->members->isEmpty());
    EXPECT_EQ(store->maxSeats, 3);
    queue.advance(std::chrono::minutes(1));
    EXPECT_EQ(server.requests().size(), before);
    EXPECT_EQ(queue.pending(), 0) << "the polling task has ended";
}
