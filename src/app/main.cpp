#include "api/origins.h"
#include "app/kivolo_app.h"
#include "app/translations.h"
#include "platform/desktop/application.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QLocale>
#include <cstdio>
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

/// The threads take turns, so heaps of their own would only keep memory from one another.
void shareOneHeap()
{
#ifdef __GLIBC__
    mallopt(M_ARENA_MAX, 1); // NOLINT(concurrency-mt-unsafe): there is one thread yet
#endif
}

int fail(const QString &reason)
{
    std::fprintf(stderr, "kivolo: %s\n", qUtf8Printable(reason));
    return EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv)
{
    using kivolo::SingleInstance;
    shareOneHeap();
    kivolo::application::chooseWindowSystem();
    QApplication application(argc, argv);
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
        QApplication::translate("main", "A desktop messenger for a closed circle."));
    options.addHelpOption();
    options.addVersionOption();
    const QCommandLineOption hidden(
        QStringLiteral("hidden"),
        QApplication::translate("main", "Start without the window, for autostart."));
    options.addOption(hidden);
    options.process(application);

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
