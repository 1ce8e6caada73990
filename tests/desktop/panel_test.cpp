#include "platform/desktop/panel.h"

#include "platform/desktop/application.h"
#include "platform/desktop/panel_presenter.h"
#include "platform/desktop/screen.h"
#include "platform/desktop/work_area.h"
#include "staging/manual_main_queue.h"
#include "style/shadow.h"
#include "support/eventually.h"
#include "support/x_server.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QPainter>
#include <QProcess>
#include <QRegion>
#include <QScopeGuard>
#include <QScreen>
#include <QWindow>
#include <gmock/gmock.h>

namespace kivolo {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

// Stands for a card: red to its corners.
class Card final : public PanelContent
{
    Q_OBJECT
public:
    void setBlending(Blending now) override { blending = now; }
    double cornerRadius() const override { return 16; }
    QMargins shadowMargins() const override { return kivolo::shadowMargins; }
    void paintShadow(QPainter &painter, const QRectF &place) const override
    {
        kivolo::paintShadow(painter, place, 16);
    }

    Blending blending = Blending::Blurred;
    int paints = 0;

protected:
    void paintEvent(QPaintEvent *) override
    {
        ++paints;
        QPainter(this).fillRect(rect(), Qt::red);
    }
};

struct Shown
{
    explicit Shown(MainQueue &queue)
        : panel(std::make_shared<Panel>(
              Panel::Options{{300, 150}}, [](Panel &) { return std::make_unique<Card>(); }, queue))
    {}
    Card &card() const { return *static_cast<Card *>(panel->content()); }
    QWidget &window() const { return *panel->window(); }
    void show(const Rect &frame) const
    {
        panel->setFrame(frame);
        panel->orderFront();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(panel->window()));
    }

    std::shared_ptr<Panel> panel;
};

class FloatingPanel : public testing::Test
{
protected:
    double scale() const { return qApp->devicePixelRatio(); }
    std::uint32_t pixels(double points) const { return std::uint32_t(points * scale()); }
    QRect device(const QRect &points) const
    {
        return {(QPointF(points.topLeft()) * scale()).toPoint(),
                (QSizeF(points.size()) * scale()).toSize()};
    }
    // Of a frame in the program's coordinates, with the shadow around it.
    QRect withShadow(const Rect &frame) const
    {
        const int height = qApp->primaryScreen()->geometry().height();
        return device(
            QRect(int(frame.x) - 32, height - int(frame.maxY()) - 24, 300 + 64, 150 + 68));
    }
    bool standsAt(const Shown &shown, const Rect &frame) const
    {
        return eventually([&] { return x.geometry(shown.window()) == withShadow(frame); });
    }

    ManualMainQueue queue;
    XServer x;
    static constexpr Rect place{80, 120, 300, 150};
};

// Other programs' full-screen windows and the cards among them. What looks managed is not, so that
// the order is the test's and not a window manager's.
TEST_F(FloatingPanel, StaysInFrontOfAFullScreenWindowWithoutAFightAndBehindALock)
{
    QWidget managed;
    QWidget lock;
    for (QWidget *window : {&managed, &lock}) {
        window->setWindowFlags(Qt::BypassWindowManagerHint);
        window->setGeometry(qApp->primaryScreen()->geometry());
    }
    x.markAsManaged(idOf(managed));
    // As one that is in use does it, so that compositors do not take it for a full-screen window.
    lock.setGeometry(lock.geometry().adjusted(1, 1, -1, -1));
    const auto isInFront = [this](const QWidget &front, const QWidget &back) {
        return x.isInFrontOf(idOf(front), idOf(back));
    };
    const Shown first(queue);
    const Shown second(queue);
    const auto areRaisedAgain = [&] {
        x.raise(idOf(managed));
        x.raise(idOf(lock));
        ASSERT_TRUE(isInFront(managed, second.window()));
        EXPECT_TRUE(eventually([&] {
            return isInFront(first.window(), managed) && isInFront(second.window(), managed);
        }));
        EXPECT_TRUE(isInFront(second.window(), first.window())) << "in another order";
    };
    for (QWidget *window : {&managed, &lock}) {
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
        for (const Shown *shown : {&first, &second}) {
            shown->panel->orderOut();
            shown->show(place);
            EXPECT_TRUE(isInFront(shown->window(), managed));
            EXPECT_TRUE(!lock.isVisible() || isInFront(lock, shown->window())) << "for a moment";
        }
        areRaisedAgain();
    }
    EXPECT_TRUE(isInFront(lock, second.window()));
    QElapsedTimer time;
    time.start();
    for (int round = 0; round < 4; ++round)
        areRaisedAgain();
    EXPECT_GE(time.elapsed(), 20 + 40 + 80) << "it does not give way to one that insists";

    managed.hide();
    second.panel->orderOut();
    second.show(place);
    EXPECT_TRUE(isInFront(lock, second.window())) << "with nothing else to stand in front of";
}

TEST_F(FloatingPanel, StandsWhereItIsPutAlsoBeyondTheScreenAndTakesTheMouseWithinItsCardOnly)
{
    const Shown shown(queue);
    const QSize screen = qApp->primaryScreen()->geometry().size();
    const Rect inCorner{double(screen.width()) - 316, double(screen.height()) - 166, 300, 150};
    const Rect below{inCorner.x, -2506, 300, 150};
    const Rect above{inCorner.x, double(screen.height()) + 300, 300, 150};
    for (const Rect &frame : {below, inCorner, above, place, below}) {
        if (frame == below)
            shown.panel->orderOut();
        shown.show(frame);
        EXPECT_TRUE(standsAt(shown, frame))
            << "wanted y " << frame.y << ", stands at " << x.geometry(shown.window()).y();
        EXPECT_EQ(shown.panel->frame(), frame);
        EXPECT_THAT(x.windows(), Not(Contains(idOf(shown.window())))) << "it is managed";
        EXPECT_THAT(x.atoms(idOf(shown.window()), "_NET_WM_WINDOW_TYPE"),
                    ElementsAre("_NET_WM_WINDOW_TYPE_NOTIFICATION"));
        EXPECT_THAT(x.values(idOf(shown.window()), "_GTK_FRAME_EXTENTS"),
                    ElementsAre(pixels(32), pixels(32), pixels(24), pixels(44)));
        EXPECT_THAT(x.inputShape(shown.window()), ElementsAre(device(QRect(32, 24, 300, 150))));
    }
}

TEST_F(FloatingPanel, KeepsToItselfWhatTheWindowManagerIsAsked)
{
    static QStringList complaints;
    const auto before = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &text) { complaints += text; });
    const auto restore = qScopeGuard([&] { qInstallMessageHandler(before); });
    const Shown shown(queue);
    shown.show(place);
    QWidget window;
    window.show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
    window.showMinimized();
    EXPECT_TRUE(eventually([&] { return !window.windowHandle()->isExposed(); }));
    application::raise(window);
    EXPECT_TRUE(eventually([&] { return window.isActiveWindow(); }));
    EXPECT_EQ(complaints.join(QLatin1Char('\n')).toStdString(), "");
}

TEST_F(FloatingPanel, FadesEvenlyAndThenRests)
{
    const Shown shown(queue);
    shown.panel->setAlpha(0);
    shown.show(place);
    const auto opacity = [&] {
        const QImage image = shown.window().grab().toImage();
        return image.pixelColor(image.rect().center()).alphaF();
    };
    EXPECT_NEAR(opacity(), 0, 0.01);
    EXPECT_GE(shown.card().paints, 1) << "a card that is not painted yet";

    shown.panel->fade(1, 250ms);
    queue.advance(128ms);
    EXPECT_NEAR(opacity(), 0.512, 0.01);
    queue.advance(144ms);
    EXPECT_NEAR(opacity(), 1, 0.01);
    EXPECT_EQ(queue.pending(), 0U);

    shown.panel->fade(0, 200ms);
    queue.advance(96ms);
    shown.panel->fade(1, 200ms);
    queue.advance(112ms);
    EXPECT_NEAR(shown.panel->alpha(), 0.52 + 0.48 * 0.56, 0.01) << "from where it was";
}

TEST_F(FloatingPanel, AsksForBlurWhereThereIsOneAndIsOpaqueElsewhere)
{
    const Shown shown(queue);
    shown.show(place);
    EXPECT_EQ(shown.card().blending, PanelContent::Blending::Plain);
    const auto withdrawn = qScopeGuard([this] { x.announceBlur(false); });
    const auto region = [&] {
        const auto numbers = x.values(idOf(shown.window()), "_KDE_NET_WM_BLUR_BEHIND_REGION");
        QRegion result;
        for (std::size_t i = 0; i + 4 <= numbers.size(); i += 4)
            result += QRect(int(numbers[i]), int(numbers[i + 1]), int(numbers[i + 2]),
                            int(numbers[i + 3]));
        return result;
    };
    x.announceBlur(true);
    EXPECT_TRUE(eventually([&] {
        return shown.card().blending == PanelContent::Blending::Blurred && !region().isEmpty();
    }));
    const QRect card = device(QRect(32, 24, 300, 150));
    EXPECT_EQ(region().boundingRect(), card);
    EXPECT_FALSE(region().contains(card.topLeft())) << "blurred beyond its corner";
    x.announceBlur(false);
    EXPECT_TRUE(eventually([&] {
        return shown.card().blending == PanelContent::Blending::Plain && region().isEmpty();
    }));
}

TEST_F(FloatingPanel, DarkensNoNeighbourWithItsShadow)
{
    const Rect above{place.x, place.y + 160, 300, 150};
    const Shown lower(queue);
    const Shown upper(queue);
    lower.show(place);
    upper.show({above.x + 320, above.y, 300, 150});
    const auto isAllRed = [&](const Rect &frame) {
        const QRect card = withShadow(frame).marginsRemoved(
            {int(32 * scale()), int(24 * scale()), int(32 * scale()), int(44 * scale())});
        // Without the corners, where the desktop shows.
        const QRect inside = card.adjusted(40, 0, -40, 0);
        return eventually([&] {
            const auto pixels = x.pixels(inside);
            return !pixels.empty() && std::all_of(pixels.begin(), pixels.end(), [](QRgb pixel) {
                return (pixel & RGB_MASK) == (QColor(Qt::red).rgb() & RGB_MASK);
            });
        });
    };
    EXPECT_TRUE(isAllRed(upper.panel->frame()));
    upper.panel->setFrame(above); // as a stack closes up
    EXPECT_TRUE(isAllRed(above));
    EXPECT_TRUE(isAllRed(place)) << "the lower card lies in the upper one's shadow";

    // Where a neighbour has gone, the shadow falls again.
    const QPoint onDesktop = withShadow(place).topLeft() + QPoint(180, 12) * scale();
    const auto brightness = [&] { return qGray(x.pixels(QRect(onDesktop, QSize(1, 1))).front()); };
    const QRgb desktop = x.pixels(QRect(0, 0, 1, 1)).front();
    upper.panel->orderOut();
    EXPECT_TRUE(eventually([&] { return brightness() > 150; })) << "the card has gone";
    EXPECT_TRUE(eventually([&] { return brightness() < qGray(desktop); }));
}

TEST_F(FloatingPanel, MayBeReleasedByItsContent)
{
    Shown shown(queue);
    shown.show(place);
    const QPointer<QWidget> window(&shown.window());
    const QPointer<QWidget> card(&shown.card());
    shown.panel.reset();
    ASSERT_TRUE(card) << "destroyed while it may still be handling its click";
    EXPECT_FALSE(window->isVisible());
    EXPECT_TRUE(eventually([&] { return !window; }));
    EXPECT_FALSE(card);
}

TEST_F(FloatingPanel, AreShownOnePerTurnAndFadeTogether)
{
    PanelPresenter presenter(queue);
    std::vector<Shown> all;
    for (int i = 0; i < 4; ++i)
        all.emplace_back(queue);
    for (const Shown &shown : all)
        presenter.present(shown.panel, 250ms);
    EXPECT_FALSE(all[0].panel->window());
    all[2].panel.reset();
    presenter.withdraw(all[3].panel.get());

    queue.advance(0ms);
    EXPECT_TRUE(all[0].panel->isVisible());
    EXPECT_FALSE(all[1].panel->window());
    EXPECT_EQ(queue.pending(), 1U) << "it fades before all are there";
    presenter.withdraw(all[0].panel.get());
    queue.advance(1ms);
    EXPECT_TRUE(all[1].panel->isVisible());
    queue.advance(300ms);
    EXPECT_EQ(all[0].panel->alpha(), 0) << "withdrawn before it could fade";
    EXPECT_EQ(all[1].panel->alpha(), 1);
    EXPECT_FALSE(all[3].panel->window());
    EXPECT_EQ(queue.pending(), 0U);
}

TEST_F(FloatingPanel, StandsOnWhatPanelsLeaveOfTheMainScreen)
{
    SystemScreen screen;
    std::optional<Rect> told;
    QObject::connect(&screen, &Screen::changed, [&] { told = screen.visibleFrame(); });
    // In points, from the screen's own corner.
    const auto tells = [&](const Rect &expected) {
        return eventually([&] { return told == expected; });
    };
    const auto xrandr = [](const char *arguments) {
        return QProcess::execute(QStringLiteral("xrandr"),
                                 QString::fromLatin1(arguments).split(QLatin1Char(' '))) == 0;
    };
    const QSizeF whole = qApp->primaryScreen()->geometry().size();
    EXPECT_TRUE(tells({0, 0, whole.width(), whole.height()}));
    {
        XServer bar;
        bar.addBar(XServer::Top, pixels(30), {0, 1439});
        EXPECT_TRUE(tells({0, 0, whole.width(), whole.height() - 30}));
    }
    EXPECT_TRUE(tells({0, 0, whole.width(), whole.height()}));

    // The same screen as two monitors, the left one 200 pixels less high, each with a bar of its
    // own. The one below the left monitor reaches from the bottom of the right one to there.
    const auto oneAgain = qScopeGuard([&] {
        EXPECT_TRUE(xrandr("--delmonitor left") && xrandr("--delmonitor right"));
        EXPECT_TRUE(tells({0, 0, whole.width(), whole.height()}));
    });
    ASSERT_TRUE(xrandr("--setmonitor *right 720/190x900/238+720+0 none") &&
                xrandr("--setmonitor left 720/190x700/185+0+0 screen"));
    XServer bars;
    bars.addBar(XServer::Top, pixels(30), {720, 1439});
    bars.addBar(XServer::Bottom, 200 + pixels(24), {0, 719});
    EXPECT_TRUE(tells({0, 0, whole.width() / 2, whole.height() - 30}));

    ASSERT_TRUE(xrandr("--delmonitor right") && xrandr("--delmonitor left") &&
                xrandr("--setmonitor *left 720/190x700/185+0+0 screen") &&
                xrandr("--setmonitor right 720/190x900/238+720+0 none"));
    EXPECT_TRUE(tells({0, 24, whole.width() / 2, 700 / scale() - 24}));
}

TEST(WorkArea, IsWhatTheStrutsOfAScreenLeaveOfIt)
{
    // A small screen on the left, a large one on the right, both at the top.
    const QSize desktop(3360, 1080);
    const QRect small(0, 0, 1440, 900);
    const QRect large(1440, 0, 1920, 1080);
    enum Edge { Left, Right, Top, Bottom };
    struct Kept
    {
        Edge edge;
        int reach, from, to;
    };
    const struct
    {
        const char *what;
        std::vector<Kept> kept;
        QRect ofSmall;
        QRect ofLarge;
    } cases[] = {
        {"none", {}, small, large},
        {"below the small one", {{Bottom, 180 + 44, 0, 1439}}, {0, 0, 1440, 856}, large},
        {"below the large one", {{Bottom, 44, 1440, 3359}}, small, {1440, 0, 1920, 1036}},
        {"over by a pixel", {{Bottom, 44, 0, 1440}}, small, {1440, 0, 1920, 1036}},
        {"below both", {{Bottom, 44, 0, 3359}}, small, {1440, 0, 1920, 1036}},
        {"above both, two deep",
         {{Top, 24, 0, 3359}, {Top, 30, 0, 3359}},
         {0, 30, 1440, 870},
         {1440, 30, 1920, 1050}},
        {"left of the large one", {{Left, 1440 + 60, 0, 1079}}, small, {1500, 0, 1860, 1080}},
        {"right of the small one", {{Right, 1920 + 60, 0, 899}}, {0, 0, 1380, 900}, large},
        {"all around the small one",
         {{Top, 20, 0, 1439}, {Left, 30, 0, 899}, {Bottom, 190, 0, 1439}, {Right, 1925, 0, 899}},
         {30, 20, 1405, 870},
         large},
        {"beside what is there", {{Bottom, 44, 0, -1}, {Top, 0, 0, 3359}}, small, large},
        {"out of reason", {{Bottom, 100000, 0, 3359}, {Left, -5, 0, 1079}}, small, large},
    };
    for (const auto &one : cases) {
        std::vector<Strut> struts(one.kept.size());
        for (std::size_t i = 0; i < struts.size(); ++i) {
            const auto &[edge, reach, from, to] = one.kept[i];
            struts[i].reach[edge] = reach;
            struts[i].extent[edge] = {from, to};
        }
        EXPECT_EQ(withoutStruts(small, desktop, struts), one.ofSmall) << one.what;
        EXPECT_EQ(withoutStruts(large, desktop, struts), one.ofLarge) << one.what;
    }

    const QRect areas[] = {{0, 24, 1440, 876}, {1440, 0, 1920, 1040}};
    EXPECT_EQ(areaOn(large, areas), areas[1]);
    EXPECT_EQ(areaOn({0, 0, 1600, 900}, areas), areas[0]) << "the screens have just changed";
    EXPECT_EQ(areaOn({5000, 0, 100, 100}, areas), std::nullopt);
}

using PanelWithoutCompositor = FloatingPanel;

TEST_F(PanelWithoutCompositor, IsOpaqueAndSquareUntilOneAppears)
{
    if (x.hasCompositor())
        GTEST_SKIP() << "this display has a compositor";
    const Shown shown(queue);
    shown.panel->setAlpha(0);
    shown.show(place);
    const int height = qApp->primaryScreen()->geometry().height();
    const QRect bare = device(QRect(80, height - 270, 300, 150));
    const auto looks = [&](bool blended) {
        return eventually([&] {
            return (shown.card().blending == PanelContent::Blending::None) == !blended &&
                   x.geometry(shown.window()) == (blended ? withShadow(place) : bare);
        });
    };
    EXPECT_TRUE(looks(false));
    const QImage corner = shown.window().grab().toImage();
    EXPECT_EQ(corner.pixelColor(0, 0), QColor(Qt::red));
    EXPECT_EQ(corner.pixelColor(299, 149), QColor(Qt::red));
    EXPECT_THAT(x.values(idOf(shown.window()), "_GTK_FRAME_EXTENTS"), ElementsAre(0U, 0U, 0U, 0U));

    // Also where it is suspended and resumed as fast as a window learns of its size.
    for (int round = 0; round < 3; ++round) {
        for (int blink = 0; blink < round; ++blink) {
            x.claimCompositor(true);
            x.claimCompositor(false);
        }
        x.claimCompositor(true);
        EXPECT_TRUE(looks(true));
        EXPECT_THAT(x.values(idOf(shown.window()), "_GTK_FRAME_EXTENTS"),
                    ElementsAre(pixels(32), pixels(32), pixels(24), pixels(44)));
        x.claimCompositor(false);
        EXPECT_TRUE(looks(false));
    }
    EXPECT_THAT(x.values(idOf(shown.window()), "_GTK_FRAME_EXTENTS"), ElementsAre(0U, 0U, 0U, 0U));
    EXPECT_EQ(shown.panel->frame(), place);
    EXPECT_THAT(x.inputShape(shown.window()), ElementsAre(QRect({}, bare.size())));
}

} // namespace
} // namespace kivolo

#include "panel_test.moc"
