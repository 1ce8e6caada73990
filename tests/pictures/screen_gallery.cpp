// Shows one screen of the window with made-up content and saves a picture of it.
//
//   screen_gallery [--dark] SCREEN WIDTHxHEIGHT PICTURE.png
//   screen_gallery --list
//
// QT_SCALE_FACTOR sets the resolution.
#include "core/store.h"
#include "style/button.h"
#include "style/motion.h"
#include "style/palette.h"
#include "views/force_update_view.h"
#include "views/invite_waiting_view.h"
#include "views/onboarding_view.h"
#include "views/update_banner.h"
#include "views/welcome_carousel.h"

#include <QApplication>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>
#include <map>

using namespace kivolo;

namespace {

/// What a screen is made with.
struct Session
{
    MainQueue &queue;
    std::shared_ptr<Store> store;
};

Button *button(const QWidget &within, const QString &name)
{
    for (Button *each : within.findChildren<Button *>()) {
        if (each->accessibleName() == name)
            return each;
    }
    qFatal("no button %s", qPrintable(name));
}

QWidget *welcome(int page)
{
    auto *carousel = new WelcomeCarousel([] {});
    button(*carousel, QStringLiteral("Page %1 of 4").arg(page))->click();
    return carousel;
}

QWidget *onboarding(const Session &session, const std::optional<QString> &error = {})
{
    session.store->handle = QStringLiteral("Ana");
    session.store->errorText = error;
    return new OnboardingView(session.store);
}

QWidget *waiting(const Session &session)
{
    session.store->code = QStringLiteral("AB12CD34");
    session.store->members = {{QStringLiteral("me"), QStringLiteral("Ana"), {}, {}}};
    return new InviteWaitingView(session.store, session.queue);
}

QWidget *underBanner(const std::optional<QString> &notes, QWidget *screen)
{
    const VersionInfo version{QStringLiteral("1.4.0"), {}, notes};
    return vstack(0, {new UpdateBanner(version, [] {}), screen})->filling();
}

using Screen = std::function<QWidget *(const Session &)>;

const std::map<QString, Screen> &screens()
{
    static const QString error = QStringLiteral("Enter your name and a code.");
    static const QString notes =
        QStringLiteral("Doodles are sharper now, and a capsule can be sealed for a week");
    static const std::map<QString, Screen> all{
        {QStringLiteral("welcome-1"), [](const Session &) { return welcome(1); }},
        {QStringLiteral("welcome-2"), [](const Session &) { return welcome(2); }},
        {QStringLiteral("welcome-3"), [](const Session &) { return welcome(3); }},
        {QStringLiteral("welcome-4"), [](const Session &) { return welcome(4); }},
        {QStringLiteral("onboarding"), [](const Session &s) { return onboarding(s); }},
        {QStringLiteral("onboarding-error"), [](const Session &s) { return onboarding(s, error); }},
        {QStringLiteral("waiting"), [](const Session &s) { return waiting(s); }},
        {QStringLiteral("waiting-banner"),
         [](const Session &s) { return underBanner(notes, waiting(s)); }},
        {QStringLiteral("banner"), [](const Session &s) { return underBanner({}, onboarding(s)); }},
        {QStringLiteral("force-update"), [](const Session &) { return new ForceUpdateView({}); }},
    };
    return all;
}

QSize sizeFrom(const QString &text)
{
    const QStringList sides = text.split(u'x');
    return {sides.value(0).toInt(), sides.value(1).toInt()};
}

int list()
{
    for (const auto &[name, screen] : screens())
        QTextStream(stdout) << name << '\n';
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("KIVOLO_API_URL", "http://127.0.0.1:9"); // nobody is there
    const QApplication application(argc, argv);
    QStringList arguments = QApplication::arguments().mid(1);
    if (arguments.contains(QLatin1String("--list")))
        return list();
    const bool dark = arguments.removeAll(QStringLiteral("--dark")) > 0;
    const auto chosen = screens().find(arguments.value(0));
    const QSize size = sizeFrom(arguments.value(1));
    if (chosen == screens().end() || size.isEmpty() || arguments.size() != 3) {
        QTextStream(stderr) << "usage: screen_gallery [--dark] SCREEN WIDTHxHEIGHT PICTURE.png\n";
        return 2;
    }
    QApplication::setPalette(
        (dark ? Palette::standardDark() : Palette::standardLight()).toQPalette());
    motion::setReduced(true);

    const QTemporaryDir folder;
    SystemMainQueue queue;
    UserDefaults defaults(folder.filePath(QStringLiteral("settings")));
    const Session session{queue, Store::create(queue, defaults, {})};
    const std::unique_ptr<QWidget> window(vstack(0, {chosen->second(session)}));
    window->setFixedSize(size);
    window->show();
    QTimer::singleShot(300, window.get(), [&window, path = arguments.value(2)] {
        QApplication::exit(window->grab().save(path) ? 0 : 1);
    });
    return QApplication::exec();
}
