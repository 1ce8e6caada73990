// Start-up, status answers, leaving, updates.
#include "core/device_identity.h"
#include "core/store_fixture.h"
#include "platform/foundation/user_defaults.h"

#include <QRegularExpression>
#include <QTemporaryDir>

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

TEST_F(StoreFixture, ALaterStatusChangesMembersAndCodeAndLeavingAllButTheName)
{
    startJoined(pollReply({beamJson("b1")}, 1000));
    MeResponse status;
    status.circle_id = u"other"_s;
    status.handle = u"Other"_s;
    status.max_seats = 9;
    store->applyStatus(status);
    EXPECT_EQ(store->members->size(), 2);
    EXPECT_EQ(*store->code, u"AB12CD34"_s);
    EXPECT_EQ(store->myEmoji(), u"🦊"_s);
    status.members = QList<Member>();
    status.code = u"NEW"_s;
    store->applyStatus(status);
    EXPECT_TRUE(store->members->isEmpty());
    EXPECT_EQ(*store->code, u"NEW"_s);
    EXPECT_EQ(*store->circleId, u"c1"_s);
    EXPECT_EQ(*store->handle, u"Ana"_s);
    EXPECT_EQ(store->maxSeats, 3);
    EXPECT_EQ(store->myEmoji(), u"💜"_s);

    const auto before = server.requests().size();
    store->leave();
    EXPECT_EQ(store->screen, Store::Screen::onboarding);
    EXPECT_EQ(*store->handle, u"Ana"_s);
    EXPECT_TRUE(store->circleId->isEmpty() && store->memberId->isEmpty() && store->code->isEmpty());
    EXPECT_TRUE(store->feed->isEmpty());
    queue.advance(std::chrono::minutes(1));
    EXPECT_EQ(server.requests().size(), before);
    EXPECT_EQ(queue.pending(), 0) << "the polling task has ended";
}

TEST(StoreVersions, AreComparedNumberByNumber)
{
    const struct
    {
        const char *a;
        const char *b;
        bool newer;
    } cases[] = {
        {"1.2.10", "1.2.9", true}, {"2", "1.9.9", true},
        {"1.2", "1.2.0", false},   {"1.2.0", "1.2", false},
        {"1.0.0-b", "1.0", false}, {"1.0.3b", "1.0.2", false},
        {"..1..2..", "1.1", true}, {"0", "-1", true},
        {"1. 3", "1.2", false},    {"99999999999999999999", "1", false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Store::isNewer(QString::fromUtf8(c.a), QString::fromUtf8(c.b)), c.newer)
            << c.a << " against " << c.b;
}

TEST_F(StoreFixture, ANewerVersionIsOfferedAndNothingElseIs)
{
    const std::pair<const char *, bool> files[] = {
        {R"({"version":"1.2.9","url":"u"})", false},
        {"<html>", false},
        {R"({"version":"1.2.10","url":"https://example.org/","notes":"Faster."})", true},
    };
    start();
    ASSERT_TRUE(eventually([&] { return !server.requestsTo("/version.json").isEmpty(); }));
    for (const auto &[file, offered] : files) {
        server.answer("/version.json", file);
        run(store->checkUpdate());
        EXPECT_EQ(store->update->has_value(), offered) << file;
    }
}

TEST(DeviceIdentity, ComesFromTheEnvironmentThenTheDefaultsThenChance)
{
    const QTemporaryDir folder;
    UserDefaults defaults(folder.filePath(QStringLiteral("not/there/yet.ini")));
    const QString key = QStringLiteral("kivolo_device_id");
    qputenv("KIVOLO_DEVICE_ID", "from env");
    EXPECT_EQ(deviceIdentity(defaults), QStringLiteral("from env"));
    EXPECT_EQ(defaults.string(key), std::nullopt) << "is not stored";

    qputenv("KIVOLO_DEVICE_ID", "");
    static const QRegularExpression uuid(
        QStringLiteral("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$"));
    const QString made = deviceIdentity(defaults);
    EXPECT_TRUE(uuid.match(made).hasMatch()) << made.toStdString();
    EXPECT_EQ(defaults.string(key), made);
    EXPECT_EQ(deviceIdentity(defaults), made);

    defaults.setString(key, QString());
    EXPECT_EQ(deviceIdentity(defaults), QString()) << "an empty stored id is an id";
}
