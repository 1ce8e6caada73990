// The program as its user starts it: real processes on a real display.
#include "support/eventually.h"
#include "support/fake_portal.h"
#include "support/x_server.h"

#include <QCursor>
#include <QDBusMessage>
#include <QDir>
#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>
#include <algorithm>
#include <gtest/gtest.h>
#include <optional>

using namespace kivolo;
using namespace Qt::StringLiterals;

namespace {

constexpr int patience = 20'000; // milliseconds, only ever used up by a failure

/// Keeps the list of icons as a desktop's shell does, and shows them, too.
class FakeTray final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ isHost CONSTANT)
public:
    explicit FakeTray(QDBusConnection bus)
        : bus_(std::move(bus))
    {
        bus_.registerObject(u"/StatusNotifierWatcher"_s, this,
                            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties);
        bus_.registerService(u"org.kde.StatusNotifierWatcher"_s);
    }
    ~FakeTray() override { QDBusConnection::disconnectFromBus(bus_.name()); }

    bool isHost() const { return true; }
    const QString &icon() const { return icon_; }
    void click() const
    {
        QDBusMessage click = QDBusMessage::createMethodCall(
            icon_, u"/StatusNotifierItem"_s, u"org.kde.StatusNotifierItem"_s, u"Activate"_s);
        click << 0 << 0;
        bus_.send(click);
    }

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString &service) { icon_ = service; }

private:
    QDBusConnection bus_;
    QString icon_;
};

class ProgramTest : public testing::Test
{
protected:
    using Program = std::unique_ptr<QProcess>;

    void SetUp() override { ASSERT_FALSE(bus.address().isEmpty()); }

    Program start(const QStringList &arguments = {})
    {
        auto program = std::make_unique<QProcess>();
        auto environment = QProcessEnvironment::systemEnvironment();
        // Nothing listens there.
        environment.insert(u"KIVOLO_API_URL"_s, u"http://127.0.0.1:9"_s);
        environment.insert(u"KIVOLO_SITE_URL"_s, u"http://127.0.0.1:9"_s);
        environment.insert(u"XDG_CONFIG_HOME"_s, folder.path());
        environment.insert(u"XDG_RUNTIME_DIR"_s, folder.path());
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, bus.address());
        program->setProcessEnvironment(environment);
        program->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        program->start(QStringLiteral(KIVOLO_PROGRAM), arguments);
        return program;
    }
    static int exitCode(const Program &program)
    {
        return program->waitForFinished(patience) ? program->exitCode() : -1;
    }
    static int terminate(const Program &program)
    {
        program->terminate();
        return exitCode(program);
    }

    /// The visible windows of the program.
    std::vector<xcb_window_t> windows() const
    {
        auto found = x.windows();
        std::erase_if(found, [&](xcb_window_t window) {
            return x.text(window, "WM_CLASS").find("kivolo") == std::string::npos ||
                   !x.isViewable(window);
        });
        return found;
    }
    bool isInFront() const
    {
        return eventually([&] {
            const auto shown = windows();
            return shown.size() == 1 && x.activeWindow() == shown.front();
        });
    }
    bool isGone() const
    {
        return eventually([&] { return windows().empty(); });
    }
    /// The user works in another program.
    void work()
    {
        constexpr std::uint32_t byTheUser = 2; // window managers may refuse a program's own wish
        other.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&other));
        x.ask(idOf(other), "_NET_ACTIVE_WINDOW", {byTheUser});
        ASSERT_TRUE(
            eventually([&] { return other.isActiveWindow() && x.activeWindow() == idOf(other); }));
    }

    const PrivateBus bus;
    const QTemporaryDir folder;
    const XServer x;
    QWidget other;
};

TEST_F(ProgramTest, ASecondStartBringsTheWindowToTheUser)
{
    const Program first = start();
    ASSERT_TRUE(isInFront());
    const xcb_window_t window = windows().front();
    EXPECT_EQ(x.text(window, "_NET_WM_NAME"), "Kivolo");
    const std::pair<const char *, std::function<void()>> whereabouts[] = {
        {"covered", [] {}},
        {"minimised",
         [&] {
             constexpr std::uint32_t iconic = 3;
             x.ask(window, "WM_CHANGE_STATE", {iconic});
             ASSERT_TRUE(isGone());
         }},
        {"on another desktop",
         [&] {
             x.ask(window, "_NET_WM_DESKTOP", {1});
             ASSERT_TRUE(isGone());
         }},
        {"closed",
         [&] {
             x.ask(window, "_NET_CLOSE_WINDOW", {});
             ASSERT_TRUE(isGone());
         }},
    };
    for (const auto &[where, go] : whereabouts) {
        SCOPED_TRACE(where);
        go();
        work();
        EXPECT_EQ(exitCode(start({u"--hidden"_s})), 0);
        EXPECT_EQ(x.activeWindow(), idOf(other)) << "a hidden start disturbs";
        EXPECT_EQ(exitCode(start()), 0);
        EXPECT_TRUE(isInFront());
        EXPECT_EQ(x.values(x.root(), "_NET_CURRENT_DESKTOP").front(), 0U);
    }
    EXPECT_EQ(first->state(), QProcess::Running);
    EXPECT_EQ(terminate(first), 0);
}

TEST_F(ProgramTest, ATrayThatComesLaterOpensThePanelInTheCornerByThePointer)
{
    const Program program = start({u"--hidden"_s});
    // What shows its window lets others know where to knock before.
    ASSERT_TRUE(eventually(
        [&] { return !QDir(folder.path()).entryList({u"kivolo-*"_s}, QDir::System).isEmpty(); }));
    EXPECT_TRUE(windows().empty());
    const FakeTray tray(bus.connect());
    ASSERT_TRUE(eventually([&] { return !tray.icon().isEmpty(); }));
    work();
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    QCursor::setPos(area.bottomLeft());
    tray.click();
    ASSERT_TRUE(isInFront());
    const auto panel = [&] { return x.geometry(windows().front()); };
    EXPECT_TRUE(eventually([&] {
        return panel() == QRect(area.left(), area.top() + area.height() - 480, 320, 480);
    })) << panel().x()
        << ", " << panel().y();
    work();
    EXPECT_TRUE(isGone());
    EXPECT_EQ(exitCode(start()), 0);
    EXPECT_TRUE(isInFront()) << "the window, where there was none";
    EXPECT_EQ(terminate(program), 0);
}

TEST_F(ProgramTest, TakesOnlyTheOptionsThatItHas)
{
    EXPECT_EQ(exitCode(start({u"--nonsense"_s})), 1);
    const Program help = start({u"--help"_s});
    EXPECT_EQ(exitCode(help), 0);
    EXPECT_TRUE(help->readAllStandardOutput().contains("--hidden"));
}

} // namespace

#include "program_test.moc"
