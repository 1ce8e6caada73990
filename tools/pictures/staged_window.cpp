#include "pictures/staged_window.h"

#include "app/menu_root_view.h"
#include "doodle/drawing_ns_view.h"
#include "feed/feed_view.h"
#include "pictures/doodles.h"
#include "staging/finders.h"
#include "style/button.h"
#include "style/field.h"
#include "views/compose_header.h"
#include "views/composer.h"
#include "views/feature_guide.h"
#include "views/invite_waiting_view.h"
#include "views/onboarding_view.h"
#include "views/welcome_carousel.h"

#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThreadPool>
#include <QTimer>
#include <functional>

namespace kivolo {

namespace {

constexpr qint64 now = 1'700'000'000;
constexpr qint64 minute = 60;
constexpr qint64 hour = 60 * minute;
constexpr char code[] = "HX7K2M4P";

QByteArray json(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QJsonObject member(const QString &handle, const char *emoji)
{
    return {{QStringLiteral("id"), handle},
            {QStringLiteral("handle"), handle},
            {QStringLiteral("emoji"), QString::fromUtf8(emoji)}};
}

const QString ana = QStringLiteral("Ana");
const QString mia = QStringLiteral("Mia");

QByteArray status(const QJsonArray &members, qint64 seats = 5)
{
    return json({{QStringLiteral("joined"), true},
                 {QStringLiteral("circle_id"), QStringLiteral("circle")},
                 {QStringLiteral("member_id"), ana},
                 {QStringLiteral("code"), QLatin1String(code)},
                 {QStringLiteral("handle"), ana},
                 {QStringLiteral("max_seats"), seats},
                 {QStringLiteral("members"), members}});
}

QJsonObject beam(const QString &from, qint64 age, const QString &body, QJsonObject more = {})
{
    static int count = 0;
    more.insert(QStringLiteral("id"), QString::number(++count));
    more.insert(QStringLiteral("from_member"), from);
    more.insert(QStringLiteral("from_handle"), from);
    more.insert(QStringLiteral("from_emoji"), QStringLiteral("🦊"));
    more.insert(QStringLiteral("body"), body);
    more.insert(QStringLiteral("created_at"), now - age);
    if (!more.contains(QStringLiteral("type")))
        more.insert(QStringLiteral("type"), QStringLiteral("text"));
    return more;
}

QJsonArray conversation()
{
    const QJsonObject doodle{{QStringLiteral("type"), QStringLiteral("doodle")}};
    const QJsonObject buzz{{QStringLiteral("effect"), QStringLiteral("shake")}};
    const QJsonObject sealed{{QStringLiteral("sealed"), 1},
                             {QStringLiteral("open_at"), now + 2 * hour}};
    const QJsonObject opened{{QStringLiteral("open_at"), now - 6 * minute}};
    return {
        beam(mia, 2 * hour + 2 * minute,
             said("morning! did you sleep?", "guten Morgen! hast du geschlafen?",
                  "おはよう！よく眠れた？")),
        beam(ana, 2 * hour,
             said("like a stone ☕ you?", "wie ein Stein ☕ und du?", "ぐっすり☕そっちは？")),
        beam(mia, hour + 5 * minute, doodleBody(catDoodle()), doodle),
        beam(ana, 41 * minute,
             said("lunch in five, look up!", "gleich Mittag, schau mal hoch!",
                  "もうすぐお昼だよ、顔を上げて！"),
             buzz),
        beam(mia, 12 * minute, {}, sealed),
        beam(ana, 6 * minute,
             said("call grandma, it’s her birthday 🎂", "Oma anrufen, sie hat Geburtstag 🎂",
                  "おばあちゃんに電話、今日は誕生日🎂"),
             opened),
        beam(
            mia, 10,
            said("on it. Also the new place on the corner has the long noodles again, the ones you "
                 "said taste like that summer",
                 "mach ich. Und der neue Laden an der Ecke hat wieder die langen Nudeln, von denen "
                 "du sagst, sie schmecken nach diesem Sommer",
                 "電話するね。それから角の新しいお店に、あの長い麺が戻ってきたよ。あの夏の味がする"
                 "って言って"
                 "た麺")),
    };
}

void joinWith(StagedWindow &window, const QJsonArray &members, const QJsonArray &beams,
              qint64 seats = 5)
{
    window.server.answer("/me", status(members, seats));
    window.server.answer("/beams", json({{QStringLiteral("beams"), QJsonArray()},
                                         {QStringLiteral("server_time"), now}}));
    window.server.answer("/history", json({{QStringLiteral("beams"), beams}}));
    window.beams = beams.size();
}

void strange(StagedWindow &window)
{
    window.server.answer("/me", R"({"joined":false})");
}

void firstStart(StagedWindow &window)
{
    strange(window);
    window.defaults().setBoolean(QStringLiteral("kivolo_welcome_seen"), false);
}

void alone(StagedWindow &window)
{
    joinWith(window, {member(ana, "💜")}, {});
}

void pair(StagedWindow &window)
{
    joinWith(window, {member(ana, "💜"), member(mia, "🦊")}, conversation());
}

void silentPair(StagedWindow &window)
{
    joinWith(window, {member(ana, "💜"), member(mia, "🦊")}, {});
}

using Step = std::function<void(StagedWindow &)>;

/// A circle of so many.
Step circleOf(int members)
{
    return [members](StagedWindow &window) {
        const QJsonArray all{member(ana, "💜"), member(mia, "🦊"),
                             member(QStringLiteral("jo"), "🐙"), member(QStringLiteral("Noor"), "🌵"),
                             member(QStringLiteral("Zoë"), "🍉")};
        QJsonArray some;
        for (int i = 0; i < members; ++i)
            some.append(all.at(i));
        joinWith(window, some, conversation());
    };
}

/// The longest name that a server takes.
void longName(StagedWindow &window)
{
    const QString name =
        QStringLiteral("Maximiliane-Charlotte Wilhelmina von und zu Hohenstein-Waldburgs");
    joinWith(window, {member(ana, "💜"), member(name, "🦊")}, conversation());
}

void knowTheGuides(StagedWindow &window)
{
    for (const FeatureGuide guide :
         {FeatureGuide::buzz, FeatureGuide::capsule, FeatureGuide::doodle})
        window.defaults().setBoolean(QStringLiteral("kivolo_guide_") + rawValue(guide), true);
}

void offerVersion(StagedWindow &window, const QString &notes)
{
    window.server.answer("/version.json",
                         json({{QStringLiteral("version"), QStringLiteral("1.4.0")},
                               {QStringLiteral("url"), QString()},
                               {QStringLiteral("notes"), notes}}));
    window.offersVersion = true;
}

void openCapsule(StagedWindow &window)
{
    knowTheGuides(window);
    window.press(Composer::tr("Capsule"));
}

void openDoodle(StagedWindow &window)
{
    knowTheGuides(window);
    window.press(Composer::tr("Doodle"));
    window.settle();
    drawByHand(*window.view().findChild<DrawingNSView *>(), cupDoodle());
}

void send(StagedWindow &window, const QString &button)
{
    window.server.hold("/beam");
    window.press(button);
}

struct State
{
    const char *name;
    Step before = [](StagedWindow &) {}; ///< What the server and the settings say.
    Step after = [](StagedWindow &) {};  ///< What the member does.
};

Step slide(int number)
{
    return [number](StagedWindow &window) {
        window.press(WelcomeCarousel::tr("Page %1 of %2").arg(number).arg(4));
    };
}

Step pressed(const char *composerButton)
{
    return [composerButton](StagedWindow &window) { window.press(Composer::tr(composerButton)); };
}

Step underBanner(const Step &before, const char *english, const char *german, const char *japanese)
{
    return [=](StagedWindow &window) {
        offerVersion(window, said(english, german, japanese));
        before(window);
    };
}

Step copied(const char *button, const char *context)
{
    return [=](StagedWindow &window) {
        window.press(
            QCoreApplication::translate(context, button).replace(u"%1"_qs, QLatin1String(code)));
    };
}

const std::vector<State> &allStates()
{
    static const std::vector<State> all{
        {"loading",
         [](StagedWindow &window) {
             window.server.hold("/me");
             window.loads = true;
         }},
        {"welcome-1", firstStart},
        {"welcome-2", firstStart, slide(2)},
        {"welcome-3", firstStart, slide(3)},
        {"welcome-4", firstStart, slide(4)},
        {"join", strange},
        {"join-error", strange,
         [](StagedWindow &window) {
             window.type(ana);
             window.press(OnboardingView::tr("Join"));
         }},
        {"join-focus", strange,
         [](StagedWindow &window) {
             window.type(ana);
             window.tabTo(OnboardingView::tr("Join"));
         }},
        {"waiting", alone},
        {"waiting-copied", alone, copied("Invite code %1", "kivolo::InviteWaitingView")},
        {"empty", silentPair},
        {"empty-doodle", underBanner(silentPair, "", "", ""), openDoodle},
        {"feed", pair},
        {"feed-copied", pair, copied("Copy your invite code", "kivolo::ComposeHeader")},
        {"capsule", pair, openCapsule},
        {"doodle", pair, openDoodle},
        {"sending", pair,
         [](StagedWindow &window) {
             window.type(said("see you at eight", "bis um acht", "八時に会おうね"));
             send(window, Composer::tr("Send"));
         }},
        {"sending-doodle", pair,
         [](StagedWindow &window) {
             openDoodle(window);
             send(window, Composer::tr("Send doodle"));
         }},
        {"guide-buzz", pair, pressed("Buzz")},
        {"guide-capsule", pair, pressed("Capsule")},
        {"guide-doodle", pair, pressed("Doodle")},
        {"three", circleOf(3)},
        {"four", circleOf(4)},
        {"five", circleOf(5)},
        {"long-name", longName},
        {"banner", underBanner(pair, "Doodles are sharper now, and a capsule opens on the second.",
                               "Kritzeleien sind schärfer, Kapseln öffnen sekundengenau.",
                               "らくがきがくっきり、カプセルは秒まで正確に開きます。")},
        {"guide-banner",
         underBanner(pair, "Doodles are sharper now, and a capsule opens on the second.",
                     "Kritzeleien sind schärfer, Kapseln öffnen sekundengenau.",
                     "らくがきがくっきり、カプセルは秒まで正確に開きます。"),
         pressed("Buzz")},
        {"banner-short", underBanner(strange, "", "", "")},
        {"banner-long",
         underBanner(alone,
                     "Doodles are sharper now, a capsule opens on the second it was sealed for, "
                     "and the feed keeps its place while you read",
                     "Kritzeleien sind schärfer, Kapseln öffnen auf die Sekunde genau, und der "
                     "Verlauf bleibt beim Lesen, wo er ist",
                     "らくがきがくっきりし、カプセルは秒まで正確に開き、"
                     "やりとりは読んでいる場所から動かなくなりました")},
        {"update-required", strange,
         [](StagedWindow &window) { window.store().forceUpdate = QString(); }},
    };
    return all;
}

/// Ends the program when something takes too long.
class Alarm
{
public:
    Alarm()
    {
        QObject::connect(&timer_, &QTimer::timeout,
                         [] { qFatal("the window does not come to rest"); });
        timer_.start(20'000);
    }

private:
    QTimer timer_;
};

const State &stateNamed(const QString &name)
{
    for (const State &state : allStates()) {
        if (name == QLatin1String(state.name))
            return state;
    }
    qFatal("no state %s", qPrintable(name));
}

} // namespace

QString said(const char *english, const char *german, const char *japanese)
{
    switch (QLocale().language()) {
    case QLocale::German:
        return QString::fromUtf8(german);
    case QLocale::Japanese:
        return QString::fromUtf8(japanese);
    default:
        return QString::fromUtf8(english);
    }
}

QStringList StagedWindow::states()
{
    QStringList names;
    for (const State &state : allStates())
        names.append(QLatin1String(state.name));
    return names;
}

StagedWindow::StagedWindow(const QString &name, const QSize &size)
    : queue_(now)
{
    server.serveThisProcess();
    QCoreApplication::setApplicationVersion(QStringLiteral("1.3.0"));
    defaults_.setBoolean(QStringLiteral("kivolo_welcome_seen"), true);
    const State &state = stateNamed(name);
    state.before(*this);
    store_ = Store::create(queue_, QStringLiteral("device"),
                           {[](const Beam &, bool) {},
                            [](const Beam &, const std::function<void(const Beam &)> &) {}});
    store_->begin();
    settle();
    // Shown, but never asked from here on.
    qputenv("KIVOLO_SITE_URL", "https://kivolo.example");
    view_ = std::make_unique<MenuRootView>(store_, defaults_, queue_);
    view_->setAttribute(Qt::WA_DontShowOnScreen);
    view_->setFixedSize(size);
    view_->show();
    settle();
    state.after(*this);
    settle();
}

StagedWindow::~StagedWindow()
{
    // What is still under way holds its store, and must end while the rest of it exists.
    view_.reset();
    server.releaseAll();
    store_->leave();
    const std::weak_ptr<Store> alive = store_;
    store_.reset();
    const Alarm alarm;
    while (!alive.expired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    queue_.advance(std::chrono::milliseconds(0));
}

QWidget &StagedWindow::view() const
{
    return *view_;
}

Button &StagedWindow::button(const QString &name) const
{
    return shown<Button>(*view_, name);
}

void StagedWindow::press(const QString &name) const
{
    button(name).click();
}

void StagedWindow::tabTo(const QString &name) const
{
    QApplication::setActiveWindow(view_.get());
    button(name).setFocus(Qt::TabFocusReason);
    view_->setAttribute(Qt::WA_KeyboardFocusChange); // as a key would
}

void StagedWindow::type(const QString &text, int field) const
{
    view_->findChildren<Field *>().at(field)->setText(text);
}

bool StagedWindow::isSettled() const
{
    const bool loading = *store_->screen == Store::Screen::loading;
    const bool joined = *store_->screen == Store::Screen::joined;
    if (loading != loads || (joined && queue_.pending() == 0) ||
        store_->update->has_value() != offersVersion)
        return false;
    const auto *feed = view_ ? view_->findChild<FeedView *>() : nullptr;
    return !feed || (store_->feed->size() == beams && feed->isSettled());
}

void StagedWindow::settle() const
{
    const Alarm alarm;
    while (!isSettled()) // without pauses: there are many windows
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    // Pictures that are being decoded change the feed, and what has changed is laid out in turns of
    // the event loop that follow, from the inside out.
    constexpr int deepest = 20;
    for (int turn = 0; turn < deepest || !isSettled(); ++turn) {
        QThreadPool::globalInstance()->waitForDone();
        QCoreApplication::processEvents();
    }
}

} // namespace kivolo
