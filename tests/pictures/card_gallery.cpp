// Shows every card and every kind of row on one coloured background and saves a picture of it.
//
//   card_gallery [--dark] [--rows] PICTURE.png
//   card_gallery [--dark] --panels PICTURE.png
//
// With --panels every card stands in a panel of its own, and the picture is the screen's.
// QT_SCALE_FACTOR sets the resolution.
#include "overlays/capsule_card.h"
#include "overlays/capsule_card_model.h"
#include "overlays/incoming_beam_view.h"
#include "platform/desktop/panel.h"
#include "style/brand.h"
#include "style/palette.h"
#include "views/beam_bubble.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QTextStream>
#include <QThreadPool>
#include <QTimer>

using namespace kivolo;

namespace {

QImage drawing()
{
    QImage image(380, 190, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Brand::violet(), 6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    QPainterPath path(QPointF(38, 136));
    path.cubicTo(60, 30, 96, 30, 92, 100);
    path.cubicTo(90, 160, 134, 150, 140, 96);
    path.cubicTo(148, 50, 184, 76, 172, 116);
    path.cubicTo(166, 146, 206, 146, 218, 106);
    path.moveTo(288, 126);
    path.cubicTo(220, 80, 240, 44, 264, 44);
    path.cubicTo(280, 44, 286, 56, 288, 62);
    path.cubicTo(290, 56, 298, 44, 314, 44);
    path.cubicTo(338, 44, 350, 84, 288, 126);
    painter.drawPath(path);
    return image;
}

Beam beam(const QString &body)
{
    Beam result;
    result.id = body.left(20);
    result.type = QStringLiteral("text");
    result.body = body;
    result.created_at = 1'700'000'000;
    result.from_handle = QStringLiteral("Mia");
    result.from_emoji = QStringLiteral("🦊");
    return result;
}

Beam doodle()
{
    Beam result = beam(encodeDoodle(drawing()).value());
    result.type = QStringLiteral("doodle");
    return result;
}

class Rows final : public QWidget
{
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QElapsedTimer clock;
        clock.start();
        constexpr qint64 now = 1'700'000'000;
        QPainter painter(this);
        const Palette colors = Palette::of(palette());
        painter.fillRect(rect(), colors.window);
        qreal y = 14;
        const auto row = [&](Beam shown, bool mine, qint64 age) {
            shown.created_at = now - age;
            const DoodleLookup lookup{DoodleLookup::Picture, drawing()};
            const BeamBubble bubble(shown, mine, lookup, width() - 28);
            bubble.paint(painter, {14, y}, rect(), colors, now);
            y += bubble.height() + 10;
        };
        row(beam(QStringLiteral("morning! did you sleep?")), false, 7300);
        row(beam(QStringLiteral("like a stone ☕ you?")), true, 7200);
        row(doodle(), false, 3700);
        Beam buzz = beam(QStringLiteral("lunch in five, look up!"));
        buzz.effect = QStringLiteral("shake");
        row(buzz, true, 41 * 60);
        Beam sealed = beam({});
        sealed.sealed = 1;
        row(sealed, false, 12 * 60);
        Beam opened = beam(QStringLiteral("call grandma, it’s her birthday 🎂"));
        opened.open_at = now;
        row(opened, true, 6 * 60);
        row(beam(QStringLiteral("on it. Also the new place on the corner has the long noodles "
                                "again, the ones you said taste like that summer")),
            false, 0);
        row(beam(QStringLiteral("שלום! מה שלומך היום?\nand a line in Latin, <b>no markup</b>")),
            false, 0);
        QTextStream(stdout) << "rows: " << double(clock.nsecsElapsed()) / 1e6 << " ms\n";
    }
};

class Background final : public QWidget
{
protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter(this).fillRect(rect(), Palette::of(palette()).dark ? QColor(0x3C, 0x41, 0x54)
                                                                    : QColor(0xC8, 0xCA, 0xD8));
    }
};

void addCards(QWidget *window)
{
    const auto card = [window](const Beam &shown, bool shake, const QPoint &at) {
        QElapsedTimer clock;
        clock.start();
        auto *view = new IncomingBeamView(
            shown, shake, [] {}, window);
        const double created = double(clock.nsecsElapsed()) / 1e6;
        view->move(at);
        if (!view->isContentReady())
            QThreadPool::globalInstance()->waitForDone();
        QCoreApplication::processEvents();
        clock.restart();
        QImage image(view->size() * view->devicePixelRatio(), QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(view->devicePixelRatio());
        view->render(&image);
        QTextStream(stdout) << "card: created in " << created << " ms, painted in "
                            << double(clock.nsecsElapsed()) / 1e6 << " ms\n";
    };
    card(beam(QStringLiteral("look out of the window 🌈")), false, {36, 36});
    card(doodle(), false, {372, 36});
    card(beam(QStringLiteral("I’ll be ten minutes late, the tram is doing its thing again. Order "
                             "me the soup if they still have it?")),
         false, {708, 36});
    card(beam(QStringLiteral("lunch is here, wake up!")), true, {36, 233});
    auto *capsule = new CapsuleCard(beam({}), std::make_shared<CapsuleCardModel>(86381), window);
    capsule->move(492, 233);
    Beam crowded = beam(QString(QStringLiteral("a\u0301b <i>c</i> مرحبا بالعالم ")).repeated(400));
    crowded.from_handle = QStringLiteral("A name that is longer than any card is wide, and more");
    card(crowded, false, {492, 345});
    auto *square = new IncomingBeamView(
        doodle(), true, [] {}, window);
    square->setSquareCorners(true);
    square->move(828, 233);
    auto *longName = new CapsuleCard(crowded, std::make_shared<CapsuleCardModel>(59), window);
    longName->move(36, 448);
    QThreadPool::globalInstance()->waitForDone();
}

using Panels = std::vector<std::shared_ptr<Panel>>;

/// The cards as they stand on a desktop: with a shadow where it blends windows, square elsewhere.
Panels showPanels(MainQueue &queue)
{
    const double height = QGuiApplication::primaryScreen()->geometry().height();
    Panels panels;
    const auto add = [&](const QRect &place, Panel::ContentFactory content) {
        panels.push_back(std::make_shared<Panel>(
            Panel::Options{.width = double(place.width()), .height = double(place.height())},
            std::move(content), queue));
        panels.back()->setFrameOrigin({double(place.x()), height - place.y() - place.height()});
        panels.back()->orderFront();
    };
    const auto card = [&](const Beam &shown, bool shake, const QRect &place) {
        add(place, [shown, shake](Panel &) {
            return std::make_unique<IncomingBeamView>(shown, shake, [] {});
        });
    };
    card(beam(QStringLiteral("look out of the window 🌈")), false, {36, 36, 300, 150});
    card(doodle(), false, {372, 36, 300, 150});
    card(beam(QStringLiteral("I’ll be ten minutes late, the tram is doing its thing again. Order "
                             "me the soup if they still have it?")),
         false, {708, 36, 300, 150});
    card(beam(QStringLiteral("lunch is here, wake up!")), true, {36, 233, 420, 200});
    add({492, 233, 290, 92}, [](Panel &) {
        return std::make_unique<CapsuleCard>(beam({}), std::make_shared<CapsuleCardModel>(86381));
    });
    return panels;
}

bool savePicture(QWidget &window, const QString &path, bool ofScreen)
{
    return ofScreen ? window.screen()->grabWindow().save(path) : window.grab().save(path);
}

} // namespace

int main(int argc, char **argv)
{
    const QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    const bool dark = arguments.contains(QLatin1String("--dark"));
    QApplication::setPalette(
        (dark ? Palette::standardDark() : Palette::standardLight()).toQPalette());

    Background window;
    SystemMainQueue queue;
    Panels panels;
    const bool inPanels = arguments.contains(QLatin1String("--panels"));
    if (arguments.contains(QLatin1String("--rows"))) {
        window.resize(592, 660);
        auto *rows = new Rows(&window);
        rows->setGeometry(36, 20, 520, 620);
    } else if (inPanels) {
        panels = showPanels(queue);
    } else {
        window.resize(1280, 560);
        addCards(&window);
    }
    window.setVisible(!inPanels);
    QTimer::singleShot(1000, &window, [&window, inPanels, path = arguments.last()] {
        const bool saved = savePicture(window, path, inPanels);
        QApplication::exit(saved ? 0 : 1);
    });
    return QApplication::exec();
}
