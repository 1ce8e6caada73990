#include "platform/desktop/window_system.h"

#include <QDir>
#include <QGuiApplication>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>

namespace kivolo::window_system {

using namespace Qt::StringLiterals;

namespace {

constexpr char platform[] = "QT_QPA_PLATFORM";

bool reachesXServer()
{
    xcb_connection_t *connection = xcb_connect(nullptr, nullptr);
    const bool reached = !xcb_connection_has_error(connection);
    xcb_disconnect(connection);
    return reached;
}

/// Where its clients look for the compositor.
QByteArray waylandSocket()
{
    const QByteArray name = qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
                                ? QByteArrayLiteral("wayland-0")
                                : qgetenv("WAYLAND_DISPLAY");
    return name.startsWith('/') ? name : qgetenv("XDG_RUNTIME_DIR") + '/' + name;
}

bool reachesWayland()
{
    const QByteArray path = waylandSocket();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= qsizetype(sizeof address.sun_path))
        return false;
    std::memcpy(address.sun_path, path.constData(), std::size_t(path.size()));
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socket < 0)
        return false;
    const bool reached =
        ::connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    ::close(socket);
    return reached;
}

bool hasWaylandPlugin()
{
    const QStringList folders = QCoreApplication::libraryPaths();
    return std::any_of(folders.begin(), folders.end(), [](const QString &folder) {
        return !QDir(folder + u"/platforms"_s).entryList({u"libqwayland*"_s}).isEmpty();
    });
}

} // namespace

Choice choose()
{
    const QByteArray wanted = qgetenv(platform);
    if (!wanted.isEmpty() && !wanted.startsWith("xcb") && !wanted.startsWith("wayland"))
        return Choice::Made;
    if (reachesXServer()) {
        qputenv(platform, "xcb");
        return Choice::Made;
    }
    if (!reachesWayland())
        return Choice::NoDisplay;
    if (!hasWaylandPlugin())
        return Choice::NoWaylandPlugin;
    qputenv(platform, "wayland");
    return Choice::Made;
}

bool placesWindows()
{
    return !QGuiApplication::platformName().startsWith("wayland"_L1);
}

} // namespace kivolo::window_system
