#include "platform/desktop/appearance.h"
#include "support/eventually.h"
#include "support/fake_portal.h"

#include <QElapsedTimer>
#include <QLocalServer>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>
#include <gtest/gtest.h>

using namespace kivolo;
using namespace Qt::StringLiterals;

namespace {

class AppearanceTest : public testing::Test
{
protected:
    Appearance &begin()
    {
        appearance = std::make_unique<Appearance>([this] { return bus.connect(); });
        QObject::connect(appearance.get(), &Appearance::changed, appearance.get(),
                         [this] { ++changes; });
        return *appearance;
    }

    PrivateBus bus;
    std::unique_ptr<Appearance> appearance;
    int changes = 0;
};

TEST_F(AppearanceTest, TellsWhatTheDesktopPrefers)
{
    struct Case
    {
        const char *name;
        QVariant colorScheme; // none: the desktop does not know the setting
        int version;
        std::optional<bool> prefersDark;
    };
    const Case cases[] = {
        {"dark", 1U, 2, true},
        {"light", 2U, 2, false},
        {"no preference", 0U, 2, {}},
        {"unknown setting", {}, 2, {}},
        {"a text", u"1"_s, 2, {}},
        {"a signed number", 1, 2, {}},
        {"dark, before version 2", 1U, 1, true},
        {"light, before version 2", 2U, 1, false},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.name);
        changes = 0;
        FakePortal portal(bus.connect(), test.colorScheme, test.version);
        const Appearance &desktop = begin();
        EXPECT_FALSE(desktop.prefersDark().has_value()) << "nobody can have answered yet";
        ASSERT_TRUE(eventually([&] { return portal.reads() > 0; }));
        // The answer is ahead of this on the same connection.
        portal.change(test.prefersDark == true ? 2U : 1U);
        ASSERT_TRUE(eventually([&] {
            return desktop.prefersDark() == !test.prefersDark.value_or(false);
        })) << changes
            << " changes, the last to " << desktop.prefersDark().value_or(false);
        EXPECT_EQ(changes, test.prefersDark.has_value() ? 2 : 1);
    }
}

TEST_F(AppearanceTest, FollowsChangesOfAPortalThatComesLate)
{
    const Appearance &desktop = begin();
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::processEvents(); // asks a portal that nobody can start
    FakePortal portal(bus.connect(), 0U);

    const std::pair<QVariant, std::optional<bool>> steps[] = {
        {1U, true}, {2U, false}, {1U, true}, {0U, {}}, {1U, true}, {u"dark"_s, {}}};
    int expected = 0;
    for (const auto &[colorScheme, prefersDark] : steps) {
        portal.change(colorScheme);
        portal.change(colorScheme);
        ASSERT_TRUE(eventually([&] { return desktop.prefersDark() == prefersDark; }));
        EXPECT_EQ(changes, ++expected);
    }
}

TEST_F(AppearanceTest, KnowsThatTheUserWantsLessMotion)
{
    const QString appearanceGroup = u"org.freedesktop.appearance"_s;
    const QString interfaceGroup = u"org.gnome.desktop.interface"_s;
    FakePortal portal(bus.connect(), 1U);
    portal.set(interfaceGroup, u"enable-animations"_s, false);
    const Appearance &desktop = begin();
    EXPECT_FALSE(desktop.reducesMotion());
    int told = 0;
    QObject::connect(&desktop, &Appearance::motionChanged, [&] { ++told; });
    ASSERT_TRUE(eventually([&] { return desktop.reducesMotion(); })) << "from the beginning";

    struct Step
    {
        QString group, key;
        QVariant value;
        bool reduces;
    };
    const Step steps[] = {
        {interfaceGroup, u"enable-animations"_s, true, false},
        {appearanceGroup, u"reduced-motion"_s, 1U, true},
        {interfaceGroup, u"enable-animations"_s, false, true},
        {appearanceGroup, u"reduced-motion"_s, 0U, true},
        {interfaceGroup, u"enable-animations"_s, u"false"_s, false},
        {appearanceGroup, u"reduced-motion"_s, u"1"_s, false},
    };
    bool before = true;
    int expected = 1;
    for (const Step &step : steps) {
        SCOPED_TRACE(qPrintable(step.key + u' ' + step.value.toString()));
        portal.set(step.group, step.key, step.value);
        // What is told after it has been taken in after it.
        const uint marker = desktop.prefersDark() == true ? 2U : 1U;
        portal.change(marker);
        ASSERT_TRUE(eventually([&] { return desktop.prefersDark() == (marker == 1U); }));
        EXPECT_EQ(desktop.reducesMotion(), step.reduces);
        expected += std::exchange(before, step.reduces) != step.reduces;
        EXPECT_EQ(told, expected);
    }
}

TEST_F(AppearanceTest, WaitsForNoBus)
{
    const QTemporaryDir folder;
    QLocalServer deaf; // takes connections and never says a word
    ASSERT_TRUE(deaf.listen(folder.filePath(u"bus"_s)));
    const QString addresses[] = {u"unix:path="_s + deaf.fullServerName(),
                                 u"unix:path="_s + folder.filePath(u"nothing"_s), u"nonsense"_s};
    for (const QString &address : addresses) {
        SCOPED_TRACE(qPrintable(address));
        QElapsedTimer clock;
        clock.start();
        Appearance desktop([&] { return QDBusConnection::connectToBus(address, address); });
        QCoreApplication::processEvents();
        EXPECT_LT(clock.elapsed(), 5'000) << "libdbus gives up after 25 seconds";
        EXPECT_FALSE(desktop.prefersDark().has_value());
        deaf.close();
        QThreadPool::globalInstance()->waitForDone();
        QCoreApplication::processEvents();
        EXPECT_FALSE(desktop.prefersDark().has_value());
    }
}

TEST_F(AppearanceTest, MayGoWhileTheBusIsBeingReached)
{
    FakePortal portal(bus.connect(), 1U);
    begin();
    appearance.reset();
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::processEvents();
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(portal.reads(), 0);
}

} // namespace
