// The program as its user starts it: real processes on a real display.
#include "staging/scripted_server.h"
#include "support/eventually.h"
#include "support/fake_desktop.h"
#include "support/x_server.h"

#include <QCursor>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>
#include <algorithm>
#include <gtest/gtest.h>
#include <map>

using namespace kivolo;
using namespace Qt::StringLiterals;

namespace {

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
    /// Returns once the program has done what it does.
    void click() const
    {
        QDBusMessage click = QDBusMessage::createMethodCall(
            icon_, u"/StatusNotifierItem"_s, u"org.kde.StatusNotifierItem"_s, u"Activate"_s);
        click << 0 << 0;
        bus_.call(click, QDBus::BlockWithGui);
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

    /// What the environment has to be apart from the usual; an empty value is none.
    using Environment = std::map<QString, QString>;

    Program start(const QStringList &arguments = {}, const Environment &apart = {},
                  const QString &name = QStringLiteral(KIVOLO_PROGRAM))
    {
        auto program = std::make_unique<QProcess>();
        auto environment = QProcessEnvironment::systemEnvironment();
        // Nothing listens there.
        environment.insert(u"KIVOLO_API_URL"_s, u"http://127.0.0.1:9"_s);
        environment.insert(u"KIVOLO_SITE_URL"_s, u"http://127.0.0.1:9"_s);
        environment.insert(u"XDG_CONFIG_HOME"_s, folder.path());
        environment.insert(u"XDG_RUNTIME_DIR"_s, folder.path());
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, bus.address());
        for (const auto &[key, value] : apart)
            environment.insert(key, value);
        program->setProcessEnvironment(environment);
        program->start(name, arguments);
        return program;
    }
    /// Turns the event loop meanwhile: a program may wait for what the test's desktop answers.
    static int exitCode(const Program &program)
    {
        const bool ended = eventually([&] { return program->state() == QProcess::NotRunning; });
        return ended && program->exitStatus() == QProcess::NormalExit ? program->exitCode() : -1;
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

TEST_F(ProgramTest, ATrayThatComesLaterOpensThePanelInTheCornerByThePointer)
{
    // Through X even where the session prefers Wayland.
    const Program program = start({u"--hidden"_s}, {{u"QT_QPA_PLATFORM"_s, u"wayland"_s}});
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
    ASSERT_TRUE(isInFront()) << "the window, where there was none";
    EXPECT_EQ(x.text(windows().front(), "_NET_WM_NAME"), "Kivolo");
    EXPECT_EQ(terminate(program), 0);
}

TEST_F(ProgramTest, SaysOnTheDesktopTooThatThereIsNoDisplay)
{
    const Environment nowhere{{u"DISPLAY"_s, {}}, {u"QT_QPA_PLATFORM"_s, u"wayland"_s}};
    EXPECT_EQ(exitCode(start({}, nowhere)), 1) << "nobody to tell";
    const FakeNotifications desktop(bus.connect(), {});
    const Program program = start({}, nowhere);
    EXPECT_EQ(exitCode(program), 1);
    const QString said = QString::fromUtf8(program->readAllStandardError());
    EXPECT_TRUE(said.startsWith(u"kivolo: There is no display"_s)) << said.toStdString();
    ASSERT_EQ(desktop.taken().size(), 1);
    EXPECT_EQ(said, u"kivolo: "_s + desktop.taken().front().body + u'\n');

    const Program help = start({u"--help"_s}, nowhere);
    EXPECT_EQ(exitCode(help), 0);
    EXPECT_TRUE(help->readAllStandardOutput().contains("--hidden"));
    EXPECT_EQ(exitCode(start({u"--nonsense"_s})), 1);
}

TEST_F(ProgramTest, SpeaksTheNearestOfTheWantedLanguages)
{
    const char english[] = "for a closed circle";
    const char german[] = "für einen geschlossenen Kreis";
    const char spanish[] = "para un círculo cerrado";
    const char french[] = "pour un cercle fermé";
    const char japanese[] = "身近な仲間だけ";
    const char portuguese[] = "para um círculo fechado";
    const std::pair<const char *, const char *> cases[] = {
        // best first, as desktops say it
        {"de_AT", german},        {"es_MX", spanish},       {"fr_CA", french},
        {"ja_JP", japanese},      {"ja", japanese},         {"pt_BR", portuguese},
        {"pt_PT", portuguese},    {"pt", portuguese},       {"sv_SE", english},
        {"C", english},           {"en_GB:en:de", english}, {"sv:ja:de", japanese},
        {"pt_PT:fr", portuguese},
    };
    std::vector<Program> programs;
    for (const auto &[wanted, spoken] : cases)
        programs.push_back(start({u"--help"_s}, {{u"LANGUAGE"_s, QLatin1String(wanted)}}));
    for (std::size_t i = 0; i < programs.size(); ++i) {
        EXPECT_EQ(exitCode(programs[i]), 0);
        EXPECT_TRUE(programs[i]->readAllStandardOutput().contains(cases[i].second))
            << cases[i].first;
    }
}

TEST_F(ProgramTest, RunsOnWaylandAloneAndHandsWhatArrivesToTheDesktop)
{
    const QString socket = folder.filePath(u"wayland-kivolo"_s);
    const Program compositor =
        start({u"--backend=headless-backend.so"_s, u"--use-pixman"_s,
               u"--socket="_s + QFileInfo(socket).fileName(), u"--idle-time=0"_s, u"--no-config"_s},
              {}, u"weston"_s);
    ASSERT_TRUE(eventually([&] { return QFileInfo::exists(socket); }));
    const FakeNotifications desktop(bus.connect(), {u"body-markup"_s});
    ScriptedServer server;
    const QByteArray from =
        R"("from_member":"m2","type":"text","created_at":1,"from_handle":"Mia",)"
        R"("from_emoji":"💜","body":)";
    server.answer("/me", R"({"joined":true,"circle_id":"c","member_id":"me","members":[]})");
    server.answer("/beams", R"({"beams":[],"server_time":1000})");
    server.answer("/beams", R"({"server_time":1000,"beams":[)"
                            R"({"id":"note",)" +
                                from +
                                R"("1 < 2"},)"
                                R"({"id":"buzz","effect":"shake",)" +
                                from +
                                R"("Hey"},)"
                                R"({"id":"capsule","sealed":1,"open_at":1001,)" +
                                from + R"(""}]})");
    server.answer("/capsule", R"({"id":"capsule","open_at":1001,)" + from + R"("Surprise"})");
    const QString origin = QString::fromLatin1(server.origin());
    const Environment wayland{{u"DISPLAY"_s, {}},
                              {u"WAYLAND_DISPLAY"_s, socket},
                              {u"WAYLAND_DEBUG"_s, u"client"_s},
                              // Would load a graphics driver, which leaves memory behind.
                              {u"QT_WAYLAND_DISABLE_WINDOWDECORATION"_s, u"1"_s},
                              {u"KIVOLO_API_URL"_s, origin},
                              {u"KIVOLO_SITE_URL"_s, origin}};
    const auto texts = [&] {
        QStringList all;
        for (const auto &each : desktop.taken())
            all << each.summary + u": "_s + each.body;
        return all;
    };

    const Program program = start({}, wayland);
    EXPECT_TRUE(eventually([&] { return desktop.taken().size() == 5; }));
    const QString explanation = texts().value(0);
    EXPECT_TRUE(explanation.startsWith(u"Kivolo: Without an X server"_s));
    EXPECT_EQ(texts().mid(1).join(u'\n').toStdString(), "Mia: 1 &lt; 2\n"
                                                        "Mia · Buzz: Hey\n"
                                                        "Mia's time capsule: Opens in 0s\n"
                                                        "Mia: Surprise");
    EXPECT_EQ(exitCode(start({}, wayland)), 0) << "a second start";
    QByteArray said;
    const FakeTray tray(bus.connect());
    ASSERT_TRUE(eventually([&] { return !tray.icon().isEmpty(); }));
    tray.click();
    EXPECT_TRUE(eventually([&] {
        said += program->readAllStandardError();
        return said.contains("set_title(\"kivolo");
    })) << "the panel";
    EXPECT_EQ(terminate(program), 0);
    said += program->readAllStandardError();
    EXPECT_EQ(said.count("kivolo: Without an X server"), 1);
    EXPECT_TRUE(said.contains("set_title(\"Kivolo\")"));
    EXPECT_EQ(said.count(".get_toplevel("), 2) << "no card is a window";

    // The same again to who starts it, and on the desktop nothing but what arrives.
    const qsizetype polls = server.requestsTo("/beams").size();
    const Program again = start({u"--hidden"_s}, wayland);
    EXPECT_TRUE(eventually([&] { return server.requestsTo("/beams").size() > polls; }));
    EXPECT_EQ(terminate(again), 0);
    EXPECT_TRUE(again->readAllStandardError().contains("kivolo: Without an X server"));
    EXPECT_EQ(texts().count(explanation), 1);
    terminate(compositor);
}

} // namespace

#include "program_test.moc"
