// Saves pictures of every screen and card, side by side on sheets, in light and dark.
//
//   picture_sheets [--language CODE] [--suffix TEXT] [--cut-out] FOLDER [SHEET...]
//
// Without names all sheets; with --cut-out the landing site's pictures, of which each shows one
// thing with nothing around it. QT_SCALE_FACTOR sets the resolution.
#include "app/translations.h"
#include "overlays/capsule_card.h"
#include "overlays/capsule_card_model.h"
#include "overlays/incoming_beam_view.h"
#include "overlays/placement.h"
#include "pictures/doodles.h"
#include "pictures/staged_window.h"
#include "staging/beams.h"
#include "style/shadow.h"
#include "style/shapes.h"
#include "style/theme.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QMenu>
#include <QPainter>
#include <QTextStream>
#include <QThreadPool>
#include <map>

using namespace kivolo;

namespace {

constexpr int margin = 36;
constexpr double windowRadius = 10;
constexpr int smallest = 0; // files, at the cost of time

/// A picture of something, and how round its corners are.
struct Shot
{
    QPixmap picture;
    double radius;
};

Shot windowShot(const QString &state, const QSize &size)
{
    const StagedWindow window(state, size);
    return {window.view().grab(), windowRadius};
}

/// The window with the menu that a button of it has opened.
Shot menuShot(const QString &state, const QSize &size)
{
    const StagedWindow window(state, size);
    auto *menu = window.view().findChild<QMenu *>();
    qobject_cast<QAbstractButton *>(menu->parentWidget())->click();
    QPixmap picture = window.view().grab();
    QPainter painter(&picture);
    painter.drawPixmap(window.view().mapFromGlobal(menu->pos()), menu->grab());
    menu->close();
    return {picture, windowRadius};
}

Shot cardShot(const Beam &shown, bool shake)
{
    IncomingBeamView view(shown, shake, [] {});
    view.setAttribute(Qt::WA_DontShowOnScreen);
    view.resize(view.sizeHint());
    view.show();
    while (!view.isContentReady()) {
        QThreadPool::globalInstance()->waitForDone();
        QCoreApplication::processEvents();
    }
    return {view.grab(), shake ? 22.0 : 16.0};
}

Shot capsuleShot(qint64 remaining)
{
    CapsuleCard card(noteOf({}), std::make_shared<CapsuleCardModel>(remaining));
    card.resize(card.sizeHint());
    return {card.grab(), 16};
}

struct Sheet
{
    struct Placed
    {
        Shot shot;
        QPointF topLeft;
    };
    QSizeF size;
    std::vector<Placed> shots;
    bool cutOut = false; ///< Without ground and shadow.
};

using Row = std::vector<Shot>;

Sheet sideBySide(const std::vector<Row> &rows)
{
    Sheet sheet{{0, margin}, {}, false};
    for (const Row &row : rows) {
        QPointF at(margin, sheet.size.height());
        qreal height = 0;
        for (const Shot &shot : row) {
            sheet.shots.push_back({shot, at});
            at.rx() += shot.picture.deviceIndependentSize().width() + margin;
            height = std::max(height, shot.picture.deviceIndependentSize().height());
        }
        sheet.size = {std::max(sheet.size.width(), at.x()), at.y() + height + margin};
    }
    return sheet;
}

QImage paint(const Sheet &sheet, bool dark)
{
    const qreal scale = sheet.shots.front().shot.picture.devicePixelRatio();
    const QColor ground = dark ? QColor(0x3C, 0x41, 0x54) : QColor(0xC8, 0xCA, 0xD8);
    QImage image((sheet.size * scale).toSize(),
                 sheet.cutOut ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    image.fill(sheet.cutOut ? QColor(Qt::transparent) : ground);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    for (const auto &[shot, topLeft] : sheet.shots) {
        const QRectF frame(topLeft, shot.picture.deviceIndependentSize());
        QImage picture = shot.picture.toImage();
        picture.setDevicePixelRatio(1);
        if (!sheet.cutOut)
            paintShadow(painter, frame, shot.radius);
        fillWithPicture(painter, continuousRoundedRect(frame, shot.radius), frame, picture);
    }
    return image;
}

Row windows(const QSize &size, const std::vector<const char *> &states)
{
    Row row;
    for (const char *state : states)
        row.push_back(windowShot(QLatin1String(state), size));
    return row;
}

Beam doodleBeam()
{
    Beam doodle = noteOf(doodleBody(catDoodle()));
    doodle.type = Beam::doodle;
    return doodle;
}

Beam noteBeam()
{
    return noteOf(said("look out of the window 🌈", "schau mal aus dem Fenster 🌈", "窓の外を見て🌈"));
}

Beam lunchBeam()
{
    return noteOf(
        said("lunch is here, wake up!", "Essen ist da, aufwachen!", "ごはんが来たよ、起きて！"));
}

Sheet cards()
{
    const QString late = said(
        "I’ll be ten minutes late, the tram is doing its thing again. Order "
        "me the soup if they still have it?",
        "Ich komme zehn Minuten später, die Straßenbahn mal wieder. Bestellst "
        "du mir die Suppe, falls es sie noch gibt?",
        "路面電車がまた遅れていて、十分ほど遅刻します。スープがまだあったら頼んでおいてくれる？");
    const QString soup =
        late + QLatin1Char(' ') +
        said(
            "And bread, if there is any: the dark one with the seeds, two slices, or three if you "
            "want some, too. I have told the others that we sit at the window this time, where "
            "the lamp is.",
            "Und Brot, wenn es welches gibt: das dunkle mit den Körnern, zwei Scheiben, oder drei, "
            "falls du auch magst. Den anderen habe ich gesagt, dass wir diesmal am Fenster sitzen, "
            "bei der Lampe.",
            "それから、もしパンがあったら、種の入った黒いパンを二切れ。食べたければ三切れでもいいよ"
            "。"
            "今日は窓ぎわの、ランプのそばの席に座るって、みんなにも言っておいたからね。");
    const Row notes{cardShot(noteBeam(), false), cardShot(doodleBeam(), false),
                    cardShot(noteOf(late), false), cardShot(noteOf(soup), false)};
    const Shot buzz = cardShot(lunchBeam(), true);
    Sheet sheet = sideBySide({notes, {buzz}});
    // Two capsules, as far apart as on a screen.
    const Rect screen{0, 0, 1280, 800};
    const double pitch = placement::capsule(screen, 1).y - placement::capsule(screen, 0).y;
    const QPointF upper = sheet.shots.back().topLeft +
                          QPointF(buzz.picture.deviceIndependentSize().width() + margin, 0);
    sheet.shots.push_back({capsuleShot(7), upper});
    sheet.shots.push_back({capsuleShot(86'381), upper + QPointF(0, pitch)});
    return sheet;
}

const QSize ideal(520, 720);
const QSize least(420, 560);
const QSize panel(320, 480);

/// A member's desktop, with the window and cards that have just come.
Sheet desktop()
{
    const Rect screen{0, 0, 1280, 800};
    const auto at = [&](const Rect &card) {
        return QPointF(card.x, screen.height - card.y - card.height);
    };
    return {QSizeF(screen.width, screen.height),
            {{windowShot(QStringLiteral("feed"), ideal), {180, 40}},
             {cardShot(noteBeam(), false), at(placement::popup(screen, 0))},
             {cardShot(doodleBeam(), false), at(placement::popup(screen, 1))},
             {capsuleShot(86'381), at(placement::capsule(screen, 0))}},
            false};
}

using Sheets = std::map<QString, std::function<Sheet()>>;

Sheets cutOuts()
{
    const auto of = [](std::function<Shot()> shot) {
        return [shot = std::move(shot)] {
            const Shot shown = shot();
            return Sheet{shown.picture.deviceIndependentSize(), {{shown, {0, 0}}}, true};
        };
    };
    const auto window = [of](const char *state) {
        return of([state] { return windowShot(QLatin1String(state), least); });
    };
    return {
        {QStringLiteral("window"), window("feed")},
        {QStringLiteral("drawing"), window("doodle")},
        {QStringLiteral("note"), of([] { return cardShot(noteBeam(), false); })},
        {QStringLiteral("doodle"), of([] { return cardShot(doodleBeam(), false); })},
        {QStringLiteral("buzz"), of([] { return cardShot(lunchBeam(), true); })},
        {QStringLiteral("capsule"), of([] { return capsuleShot(86'381); })},
    };
}

Sheets sheets()
{
    const auto of = [](const QSize &size, std::initializer_list<const char *> states) {
        return [size, all = std::vector(states)] { return sideBySide({windows(size, all)}); };
    };
    return {
        {QStringLiteral("desktop"), desktop},
        {QStringLiteral("cards"), cards},
        {QStringLiteral("compose"), of(ideal, {"feed", "empty"})},
        {QStringLiteral("compose-modes"), of(ideal, {"capsule", "doodle"})},
        {QStringLiteral("compose-states"),
         [] {
             std::vector<Row> rows{windows(ideal, {"sending", "sending-doodle"}),
                                   windows(ideal, {"five", "long-name"})};
             rows.front().push_back(menuShot(QStringLiteral("feed"), ideal));
             rows.back().push_back(windowShot(QStringLiteral("feed-copied"), ideal));
             return sideBySide(rows);
         }},
        {QStringLiteral("guides"), of(least, {"guide-buzz", "guide-capsule", "guide-doodle"})},
        {QStringLiteral("banner"), of(ideal, {"banner", "guide-banner", "banner-short"})},
        {QStringLiteral("welcome"),
         of(least, {"welcome-1", "welcome-2", "welcome-3", "welcome-4"})},
        {QStringLiteral("onboarding"), of(least, {"join-error", "waiting", "update-required"})},
        {QStringLiteral("onboarding-states"),
         [] {
             Row row = windows(least, {"join-focus", "waiting-copied", "loading"});
             row.push_back(menuShot(QStringLiteral("waiting"), least));
             return sideBySide({row});
         }},
        {QStringLiteral("panel"),
         [] {
             return sideBySide(
                 {windows(panel, {"welcome-1", "join-error", "waiting", "banner-long"}),
                  windows(panel, {"feed", "empty", "capsule", "doodle"}),
                  windows(panel, {"guide-buzz", "empty-doodle", "banner", "update-required"}),
                  windows(panel, {"three", "four", "five", "long-name"})});
         }},
    };
}

} // namespace

int main(int argc, char **argv)
{
    const QApplication application(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption language(QStringLiteral("language"), {}, QStringLiteral("code"),
                                      QStringLiteral("en"));
    const QCommandLineOption suffix(QStringLiteral("suffix"), {}, QStringLiteral("text"));
    const QCommandLineOption cutOut(QStringLiteral("cut-out"));
    parser.addOptions({language, suffix, cutOut});
    parser.process(application);
    const QStringList arguments = parser.positionalArguments();
    if (arguments.isEmpty()) {
        QTextStream(stderr)
            << "usage: picture_sheets [--language CODE] [--suffix TEXT] [--cut-out] "
               "FOLDER [SHEET...]\n";
        return 2;
    }
    QLocale::setDefault(QLocale(parser.value(language)));
    installTranslations(QLocale());
    Theme::shared().setReducedMotion(true);

    const QDir folder(arguments.first());
    for (const auto &[name, make] : parser.isSet(cutOut) ? cutOuts() : sheets()) {
        if (arguments.size() > 1 && !arguments.mid(1).contains(name))
            continue;
        for (const bool dark : {false, true}) {
            Theme::shared().show(dark ? Palette::standardDark() : Palette::standardLight());
            const QString file = name + (dark ? QStringLiteral("-dark") : QString()) +
                                 parser.value(suffix) + QStringLiteral(".png");
            if (!paint(make(), dark).save(folder.filePath(file), "PNG", smallest)) {
                QTextStream(stderr) << "cannot write " << folder.filePath(file) << '\n';
                return 1;
            }
            QTextStream(stdout) << file << '\n';
        }
    }
    return 0;
}
