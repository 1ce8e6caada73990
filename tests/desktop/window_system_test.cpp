#include "platform/desktop/window_system.h"

#include <QCoreApplication>
#include <QLocalServer>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <map>

using namespace kivolo;
using window_system::Choice;
using namespace Qt::StringLiterals;

namespace {

void put(const char *name, const QByteArray &value)
{
    if (value.isNull())
        qunsetenv(name);
    else
        qputenv(name, value);
}

TEST(WindowSystemTest, IsTheXServerWhereverThereIsOne)
{
    std::map<const char *, QByteArray> before;
    for (const char *name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR"})
        before[name] = qgetenv(name);
    const auto restored = qScopeGuard([&] {
        for (const auto &[name, value] : before)
            put(name, value);
    });
    const QTemporaryDir folder;
    QLocalServer compositor; // as far as the choice goes
    ASSERT_TRUE(compositor.listen(folder.filePath(u"wayland-0"_s)));
    const QByteArray none;
    const QByteArray x = qgetenv("DISPLAY");
    const QByteArray gone = ":4711";
    const QByteArray wayland = compositor.fullServerName().toLocal8Bit();
    const QByteArray runtime = folder.path().toLocal8Bit();
    const struct
    {
        const char *what;
        QByteArray wanted, display, waylandDisplay, runtimeFolder;
        Choice choice;
        QByteArray platform;
    } cases[] = {
        {"X alone", none, x, none, none, Choice::Made, "xcb"},
        {"X and Wayland", none, x, wayland, none, Choice::Made, "xcb"},
        {"against the session", "wayland", x, wayland, none, Choice::Made, "xcb"},
        {"against its list", "wayland;xcb", x, wayland, none, Choice::Made, "xcb"},
        {"another one", "offscreen", x, wayland, none, Choice::Made, "offscreen"},
        {"another one alone", "vnc:port=1", none, none, none, Choice::Made, "vnc:port=1"},
        {"Wayland alone", none, none, wayland, none, Choice::Made, "wayland"},
        {"X has gone", "xcb", gone, wayland, none, Choice::Made, "wayland"},
        {"Wayland by its name", none, none, "wayland-0", runtime, Choice::Made, "wayland"},
        {"Wayland without a name", none, none, none, runtime, Choice::Made, "wayland"},
        {"Wayland has gone", none, none, "wayland-7", runtime, Choice::NoDisplay, none},
        {"both have gone", "wayland", gone, "/nowhere", none, Choice::NoDisplay, "wayland"},
        {"a name too long", none, none, QByteArray(200, 'w'), runtime, Choice::NoDisplay, none},
        {"nothing", none, none, none, none, Choice::NoDisplay, none},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        put("QT_QPA_PLATFORM", c.wanted);
        put("DISPLAY", c.display);
        put("WAYLAND_DISPLAY", c.waylandDisplay);
        put("XDG_RUNTIME_DIR", c.runtimeFolder);
        EXPECT_EQ(window_system::choose(), c.choice);
        EXPECT_EQ(qgetenv("QT_QPA_PLATFORM"), c.platform);
    }

    const QStringList folders = QCoreApplication::libraryPaths();
    put("DISPLAY", none);
    put("WAYLAND_DISPLAY", wayland);
    QCoreApplication::setLibraryPaths({folder.path()});
    EXPECT_EQ(window_system::choose(), Choice::NoWaylandPlugin);
    QCoreApplication::setLibraryPaths(folders);
}

} // namespace
