// What the desktop is asked and told over its message bus.
#include "platform/desktop/appearance.h"
#include "platform/desktop/notifications.h"
#include "support/eventually.h"
#include "support/fake_desktop.h"

#include <QElapsedTimer>
#include <QLocalServer>
#include <QTemporaryDir>
#include <QThreadPool>
#include <gtest/gtest.h>
#include <optional>

using namespace kivolo;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const QString animations = u"enable-animations"_s;
const QString reducedMotion = u"reduced-motion"_s;

struct SessionBusTest : testing::Test
{
    PrivateBus bus;
    const SessionBus::Connect connect = [this] { return bus.connect(); };
};

TEST_F(SessionBusTest, TheDesktopsPreferencesHoldFromTheBeginning)
{
    const struct
    {
        const char *name;
        QVariant colorScheme; // none: the desktop does not know the setting
        int version;
        std::optional<bool> prefersDark;
    } cases[] = {
        {"dark", 1U, 2, true},
        {"light", 2U, 2, false},
        {"no preference", 0U, 2, {}},
        {"unknown setting", {}, 2, {}},
        {"a text", u"1"_s, 2, {}},
        {"a signed number", 1, 2, {}},
        {"dark, before version 2", 1U, 1, true},
        {"light, before version 2", 2U, 1, false},
    };
    for (const auto &each : cases) {
        FakePortal portal(bus.connect(), each.colorScheme, each.version);
        portal.values[{FakePortal::interface, animations}] = false;
        const Appearance desktop(connect);
        EXPECT_FALSE(desktop.prefersDark().has_value() || desktop.reducesMotion())
            << "nobody can have answered yet";
        // The last question; the others are answered before it.
        ASSERT_TRUE(eventually([&] { return desktop.reducesMotion(); })) << each.name;
        EXPECT_EQ(desktop.prefersDark(), each.prefersDark) << each.name;
    }
}

TEST_F(SessionBusTest, AppearanceFollowsAPortalThatComesLate)
{
    const Appearance desktop(connect);
    int changes = 0;
    int motionChanges = 0;
    QObject::connect(&desktop, &Appearance::changed, [&] { ++changes; });
    QObject::connect(&desktop, &Appearance::motionChanged, [&] { ++motionChanges; });
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::processEvents(); // asks a portal that nobody can start
    FakePortal portal(bus.connect(), 0U);

    const QString &appearance = FakePortal::appearance;
    const QString &interface = FakePortal::interface;
    const QString colorScheme = u"color-scheme"_s;
    // What changes nothing stands before a step that does: once that is seen, it has been heard.
    const struct
    {
        QString group, key;
        QVariant value;
        std::optional<bool> prefersDark;
        bool reducesMotion;
    } steps[] = {
        {appearance, colorScheme, 1U, true, false},
        {interface, animations, false, true, true},
        {appearance, colorScheme, 2U, false, true},
        {interface, animations, true, false, false},
        {appearance, reducedMotion, 1U, false, true},
        {interface, animations, false, false, true},
        {appearance, colorScheme, 1U, true, true},
        {appearance, reducedMotion, 0U, true, true},
        {appearance, colorScheme, 0U, {}, true},
        {interface, animations, u"false"_s, {}, false},
        {appearance, reducedMotion, u"1"_s, {}, false},
        {appearance, colorScheme, 1U, true, false},
        {appearance, colorScheme, u"dark"_s, {}, false},
    };
    for (const auto &[group, key, value, prefersDark, reducesMotion] : steps) {
        portal.set(group, key, value);
        portal.set(group, key, value);
        ASSERT_TRUE(eventually([&] {
            return desktop.prefersDark() == prefersDark && desktop.reducesMotion() == reducesMotion;
        })) << qPrintable(key + u' ' + value.toString());
    }
    EXPECT_EQ(changes, 6);
    EXPECT_EQ(motionChanges, 4);
}

TEST_F(SessionBusTest, NotificationsSayExactlyWhatTheyWereGiven)
{
    const QString controls = u"a\r\nb\tc\u0007d\u2028e"_s + QChar(QChar::Null) + u'f';
    const struct
    {
        const char *name;
        QStringList capabilities;
        QString body;
        QString arrives;
    } cases[] = {
        {"plain", {u"body"_s}, u"a < b & <b>c</b>"_s, u"a < b & <b>c</b>"_s},
        {"markup",
         {u"body"_s, u"body-markup"_s},
         u"a < b & <b>c</b>"_s,
         u"a &lt; b &amp; &lt;b&gt;c&lt;/b&gt;"_s},
        {"controls", {u"body"_s}, controls, u"a \nb\tc d e f"_s},
        {"half a character", {u"body"_s}, u"a"_s + QChar(0xD83D), u"a?"_s},
    };
    for (const auto &[name, capabilities, body, arrives] : cases) {
        SCOPED_TRACE(name);
        const FakeNotifications desktop(bus.connect(), capabilities);
        Notifications notifications(connect);
        std::optional<bool> told;
        notifications.show({.summary = u"<i>A</i>\nB"_s, .body = body, .picture = {}, .life = 8s},
                           [&](bool taken) { told = taken; });
        ASSERT_TRUE(eventually([&] { return told.has_value(); }));
        EXPECT_EQ(told, true);
        ASSERT_EQ(desktop.taken().size(), 1);
        const auto &shown = desktop.taken().front();
        EXPECT_EQ(shown.summary, u"<i>A</i> B"_s);
        EXPECT_EQ(shown.body, arrives);
        EXPECT_EQ(shown.expiry, 8'000);
        EXPECT_EQ(shown.urgency(), 1U);
        EXPECT_TRUE(shown.picture().isNull());
    }
}

TEST_F(SessionBusTest, NotificationsComeInTheirOrderWithUrgencyAndPicture)
{
    const FakeNotifications desktop(bus.connect(), {});
    Notifications notifications(connect);
    QImage picture(3, 2, QImage::Format_RGB32);
    picture.fill(Qt::red);
    for (int i = 0; i < 20; ++i) {
        notifications.show({.summary = QString::number(i),
                            .body = {},
                            .picture = i == 7 ? picture : QImage(),
                            .life = 12s,
                            .urgent = i == 7});
        ASSERT_TRUE(i != 10 || eventually([&] { return !desktop.taken().isEmpty(); }));
    }
    ASSERT_TRUE(eventually([&] { return desktop.taken().size() == 20; }));
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(desktop.taken()[i].summary, QString::number(i));
    const auto &urgent = desktop.taken()[7];
    EXPECT_EQ(urgent.urgency(), 2U);
    EXPECT_EQ(urgent.picture().convertToFormat(picture.format()), picture);
}

TEST_F(SessionBusTest, NobodyIsWaitedFor)
{
    const QTemporaryDir folder;
    QLocalServer deaf; // takes connections and never says a word
    ASSERT_TRUE(deaf.listen(folder.filePath(u"bus"_s)));
    const std::pair<const char *, QString> cases[] = {
        {"no service", bus.address()},
        {"no bus", u"unix:path="_s + folder.filePath(u"nothing"_s)},
        {"no address", u"nonsense"_s},
        {"a bus that says nothing", u"unix:path="_s + deaf.fullServerName()},
    };
    for (const auto &[name, address] : cases) {
        SCOPED_TRACE(name);
        const auto reach = [address = address] {
            return QDBusConnection::connectToBus(address, QUuid::createUuid().toString());
        };
        QElapsedTimer clock;
        clock.start();
        std::optional<bool> told;
        {
            const Appearance gone(reach);
        }
        const Appearance desktop(reach);
        Notifications notifications(reach);
        notifications.show({.summary = u"A"_s, .body = {}, .picture = {}, .life = 8s},
                           [&](bool taken) { told = taken; });
        EXPECT_FALSE(told.has_value());
        QCoreApplication::processEvents();
        EXPECT_LT(clock.elapsed(), 5'000) << "libdbus gives up after 25 seconds";
        deaf.close();
        ASSERT_TRUE(eventually([&] { return told.has_value(); }));
        EXPECT_EQ(told, false);
        EXPECT_FALSE(desktop.prefersDark().has_value());
    }
}

} // namespace
