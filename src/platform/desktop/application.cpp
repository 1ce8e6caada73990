#include "platform/desktop/application.h"

#include "platform/desktop/activation.h"
#include "platform/desktop/key_guard.h"

#include <QApplication>
#include <QDesktopServices>
#include <QSocketNotifier>
#include <QUrl>
#include <QWidget>
#include <csignal>
#include <cstdio>
#include <sys/eventfd.h>
#include <unistd.h>

namespace kivolo::application {

void activate(const MainQueue &queue)
{
    const bool isInUse = QApplication::activeWindow();
    const auto windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        const bool ordinary = window->isWindow() && window->isVisible() &&
                              !window->windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus);
        if (!ordinary)
            continue;
        window->raise();
        if (isInUse)
            continue;
        KeyGuard::watch(*window, queue);
        window->activateWindow();
    }
}

void raise(QWidget &window)
{
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    KeyGuard::dismiss(window);
    // Not activateWindow(), too: Qt may put that off, and so take the focus back a moment later.
    window_system::bringToUser(*window.windowHandle());
}

void tell(const QString &sentence)
{
    std::fprintf(stderr, "%s: %s\n", qUtf8Printable(QCoreApplication::applicationName()),
                 qUtf8Printable(sentence));
}

void terminate()
{
    QCoreApplication::quit();
}

// A signal handler may do next to nothing, so it only wakes the event loop.
static int signalled = -1;

static void tellEventLoop(int)
{
    constexpr uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(signalled, &one, sizeof one);
}

void terminateOnSignals()
{
    signalled = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (signalled < 0)
        return; // the signals then end the program at once
    auto *notifier =
        new QSocketNotifier(signalled, QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [notifier] {
        notifier->setEnabled(false);
        terminate();
    });
    struct sigaction action = {};
    action.sa_handler = tellEventLoop;
    action.sa_flags = int(SA_RESTART | SA_RESETHAND);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(signal, &action, nullptr);
}

bool openLink(const QUrl &url)
{
    const bool web =
        url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http");
    return web && url.isValid() && !url.host().isEmpty() && QDesktopServices::openUrl(url);
}

} // namespace kivolo::application
