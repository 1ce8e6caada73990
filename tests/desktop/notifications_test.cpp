#include "platform/desktop/notifications.h"
#include "support/eventually.h"
#include "support/fake_notifications.h"
#include "support/fake_portal.h"

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

struct NotificationsTest : testing::Test
{
    PrivateBus bus;
};

TEST_F(NotificationsTest, SaysExactlyWhatItWasGiven)
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
        Notifications notifications([this] { return bus.connect(); });
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

TEST_F(NotificationsTest, ComeInTheirOrderWithUrgencyAndPicture)
{
    const FakeNotifications desktop(bus.connect(), {});
    Notifications notifications([this] { return bus.connect(); });
    QImage picture(3, 2, QImage::Format_RGB32);
    picture.fill(Qt::red);
    for (int i = 0; i < 20; ++i) {
        notifications.show({.summary = QString::number(i),
                            .body = {},
                            .picture = i == 7 ? picture : QImage(),
                            .life = 12s,
                            .urgent = i == 7});
        if (i == 10) {
            ASSERT_TRUE(eventually([&] { return !desktop.taken().isEmpty(); }));
        }
    }
    ASSERT_TRUE(eventually([&] { return desktop.taken().size() == 20; }));
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(desktop.taken()[i].summary, QString::number(i));
    const auto &urgent = desktop.taken()[7];
    EXPECT_EQ(urgent.urgency(), 2U);
    EXPECT_EQ(urgent.picture().convertToFormat(picture.format()), picture);
}

TEST_F(NotificationsTest, WaitForNobody)
{
    const QTemporaryDir folder;
    QLocalServer deaf; // takes connections and never says a word
    ASSERT_TRUE(deaf.listen(folder.filePath(u"bus"_s)));
    const std::pair<const char *, QString> cases[] = {
        {"no service", bus.address()},
        {"no bus", u"unix:path="_s + folder.filePath(u"nothing"_s)},
        {"a bus that says nothing", u"unix:path="_s + deaf.fullServerName()},
    };
    for (const auto &[name, address] : cases) {
        SCOPED_TRACE(name);
        QElapsedTimer clock;
        clock.start();
        std::optional<bool> told;
        Notifications notifications(
            [address = address] { return QDBusConnection::connectToBus(address, address); });
        notifications.show({.summary = u"A"_s, .body = {}, .picture = {}, .life = 8s},
                           [&](bool taken) { told = taken; });
        EXPECT_FALSE(told.has_value());
        QCoreApplication::processEvents();
        EXPECT_LT(clock.elapsed(), 5'000) << "libdbus gives up after 25 seconds";
        deaf.close();
        ASSERT_TRUE(eventually([&] { return told.has_value(); }));
        EXPECT_EQ(told, false);
    }
}

} // namespace
