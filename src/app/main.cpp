#include "api/origins.h"
#include "app/build.h"
#include "app/kivolo_app.h"
#include "app/translations.h"
#include "platform/desktop/application.h"
#include "platform/desktop/notifications.h"
#include "platform/desktop/window_system.h"
#include "platform/foundation/heap.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QLocale>
#include <cstdio>
#include <memory>
#include <unistd.h>

namespace window_system = kivolo::window_system;

namespace {

int fail(const QString &reason)
{
    kivolo::application::tell(reason);
    return EXIT_FAILURE;
}

/// Empty when windows can be opened.
QString whyNoWindowOpens(window_system::Choice choice)
{
    switch (choice) {
    case window_system::Choice::Made:
        break;
    case window_system::Choice::NoDisplay:
        return QCoreApplication::translate(
            "main", "There is no display to open a window on, neither an X server (DISPLAY) nor "
                    "Wayland (WAYLAND_DISPLAY).");
    case window_system::Choice::NoWaylandPlugin:
        return QCoreApplication::translate(
            "main", "There is no X server (XWayland), and Qt lacks its support for Wayland "
                    "(the package qt6-wayland).");
    }
    return {};
}

/// Who starts a program from a menu does not see what it writes.
void tellDesktop(const QString &reason)
{
    constexpr std::chrono::seconds patience{3};
    constexpr std::chrono::seconds life{12};
    kivolo::SystemMainQueue queue;
    kivolo::Notifications notifications;
    notifications.show(
        {.summary = QStringLiteral("Kivolo"), .body = reason, .picture = {}, .life = life},
        [](bool) { QCoreApplication::quit(); });
    queue.after(patience, QCoreApplication::instance(), &QCoreApplication::quit);
    QCoreApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
    using kivolo::SingleInstance;
    kivolo::heap::share();
    const window_system::Choice choice = window_system::choose();
    const std::unique_ptr<QCoreApplication> application =
        choice == window_system::Choice::Made ? std::make_unique<QApplication>(argc, argv)
                                              : std::make_unique<QCoreApplication>(argc, argv);
    QApplication::setApplicationName(QStringLiteral("kivolo"));
    QApplication::setApplicationDisplayName(QStringLiteral("Kivolo"));
    QApplication::setApplicationVersion(QStringLiteral(KIVOLO_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("kivolo"));
    kivolo::installTranslations(QLocale());
    kivolo::application::terminateOnSignals();
    // Beams arrive without a window, and a card that goes is not the program's end.
    QApplication::setQuitOnLastWindowClosed(false);

    QCommandLineParser options;
    options.setApplicationDescription(
        QCoreApplication::translate("main", "A desktop messenger for a closed circle."));
    options.addHelpOption();
    options.addVersionOption();
    const QCommandLineOption hidden(
        QStringLiteral("hidden"),
        QCoreApplication::translate("main", "Start without the window, for autostart."));
    options.addOption(hidden);
    // Of itself it would tell the version that the server is told, without the commit.
    if (options.parse(QCoreApplication::arguments()) && options.isSet(QStringLiteral("version"))) {
        std::printf("kivolo %s\n", kivolo::build);
        return EXIT_SUCCESS;
    }
    options.process(*application);

    if (const QString reason = whyNoWindowOpens(choice); !reason.isEmpty()) {
        const int status = fail(reason);
        if (::isatty(STDERR_FILENO) == 0)
            tellDesktop(reason);
        return status;
    }
    try {
        kivolo::requestUrl(kivolo::apiOrigin());
        kivolo::requestUrl(kivolo::siteOrigin());
    } catch (const kivolo::LocalizedError &error) {
        return fail(error.localizedDescription());
    }

    using kivolo::KivoloApp;
    KivoloApp app;
    switch (app.start(options.isSet(hidden) ? KivoloApp::Launch::Hidden
                                            : KivoloApp::Launch::WithWindow)) {
    case SingleInstance::Outcome::First:
        return QApplication::exec();
    case SingleInstance::Outcome::AlreadyRunning:
        return EXIT_SUCCESS;
    case SingleInstance::Outcome::Failed:
        return fail(app.errorText());
    }
    return EXIT_FAILURE;
}
