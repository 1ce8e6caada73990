#include "overlays/popup_manager.h"

#include "overlays/placement.h"
#include "platform/desktop/screen.h"
#include "staging/manual_main_queue.h"
#include "support/blank_content.h"

#include <QApplication>
#include <QPointer>
#include <gmock/gmock.h>

namespace kivolo {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class MadeUpScreen final : public Screen
{
public:
    std::optional<Rect> visibleFrame() const override { return frame; }
    void change(std::optional<Rect> to)
    {
        frame = to;
        Q_EMIT changed();
    }
    std::optional<Rect> frame = Rect{0, 25, 1440, 850}; // its top-right corner at (1440, 875)
};

class Popups : public testing::Test
{
protected:
    void show(const char *id, bool shake = false)
    {
        Beam beam;
        beam.id = QLatin1String(id);
        manager->show(beam, shake);
        queue.advance(0ms);
    }
    std::vector<Point> origins() const
    {
        std::vector<Point> result;
        for (const auto &panel : manager->panels())
            result.push_back(panel->frame().origin());
        return result;
    }
    void close(const char *id) { closeActions.at(QLatin1String(id))(); }

    ManualMainQueue queue;
    MadeUpScreen screen;
    int activations = 0;
    QHash<QString, bool> shaken;
    std::map<QString, PopupManager::Action> closeActions;
    std::unique_ptr<PopupManager> manager =
        std::make_unique<PopupManager>(PopupManager::Surroundings{
            queue, screen,
            [this](const Beam &beam, bool shake, PopupManager::Action onClose) {
                shaken[beam.id] = shake;
                closeActions[beam.id] = std::move(onClose);
                return std::make_unique<BlankContent>();
            },
            [this] { ++activations; }});
};

TEST_F(Popups, StandInAColumnNewestLowest)
{
    for (const char *id : {"a", "b", "c"})
        show(id);
    EXPECT_THAT(origins(), ElementsAre(Point{1124, 709}, Point{1124, 547}, Point{1124, 385}));
    EXPECT_EQ(manager->panels()[0]->frame(), (Rect{1124, 709, 300, 150}));
    EXPECT_FALSE(shaken[QStringLiteral("a")]);
    EXPECT_EQ(activations, 0);

    close("b");
    queue.advance(199ms);
    EXPECT_EQ(origins().size(), 3U);
    queue.advance(1ms);
    EXPECT_THAT(origins(), ElementsAre(Point{1124, 709}, Point{1124, 547}));

    // The column follows the screen; one that goes leaves all as it is.
    screen.change(Rect{0, 0, 800, 600});
    EXPECT_THAT(origins(), ElementsAre(Point{484, 434}, Point{484, 272}));
    screen.change(std::nullopt);
    show("e");
    EXPECT_THAT(origins(), ElementsAre(Point{484, 434}, Point{484, 272}, Point{0, 0}));
    screen.change(Rect{0, 0, 800, 600});
    EXPECT_EQ(origins()[2], (Point{484, 110}));
}

TEST_F(Popups, FadeInStayEightSecondsAndFadeOut)
{
    show("a");
    const std::weak_ptr<Panel> panel = manager->panels().front();
    EXPECT_TRUE(panel.lock()->isVisible());
    EXPECT_EQ(panel.lock()->alpha(), 0);
    queue.advance(256ms);
    EXPECT_EQ(panel.lock()->alpha(), 1);
    queue.advance(7743ms);
    EXPECT_EQ(panel.lock()->alpha(), 1);
    queue.advance(1ms);
    queue.advance(100ms);
    EXPECT_NEAR(panel.lock()->alpha(), 0.52, 0.05);
    queue.advance(100ms);
    EXPECT_TRUE(panel.expired());
    EXPECT_TRUE(manager->panels().empty());
    EXPECT_EQ(queue.pending(), 0U) << "something goes on after the last popup";
}

TEST_F(Popups, ClosedTwiceOrEarlyGoOnce)
{
    for (const char *id : {"a", "b"})
        show(id);
    queue.advance(3s);
    close("a");
    close("a");
    queue.advance(200ms);
    EXPECT_THAT(origins(), ElementsAre(Point{1124, 709}));
    close("a"); // its panel is gone
    show("c");
    queue.advance(4799ms); // the removal of "a" is due a millisecond later, with that of "b"
    EXPECT_EQ(origins().size(), 2U);

    // Closed by hand while it fades out by itself: gone when the first of the two fades is over.
    queue.advance(101ms);
    close("b");
    queue.advance(100ms);
    EXPECT_THAT(origins(), ElementsAre(Point{1124, 709}));
    queue.advance(200ms);
    EXPECT_EQ(origins().size(), 1U);
}

TEST_F(Popups, TwentyAtOnceRunOnPastTheBottomEdge)
{
    for (int i = 0; i < 20; ++i) {
        Beam beam;
        beam.id = QString::number(i);
        manager->show(beam, false);
    }
    EXPECT_TRUE(closeActions.empty()) << "a card was made inside the loop that shows them";
    queue.advance(80ms);
    EXPECT_EQ(closeActions.size(), 20U);
    EXPECT_EQ(origins().back(), (Point{1124, 709 - 19 * 162}));
    queue.advance(9s);
    EXPECT_TRUE(manager->panels().empty());
}

TEST_F(Popups, ABuzzShakesInTheMiddleForHalfASecondAndStaysTwelve)
{
    show("a");
    show("z", true);
    EXPECT_EQ(activations, 1);
    EXPECT_TRUE(shaken[QStringLiteral("z")]);
    ASSERT_EQ(manager->buzzes().size(), 1U);
    EXPECT_THAT(origins(), ElementsAre(Point{1124, 709})) << "a buzz moved the column";
    const std::weak_ptr<Panel> buzz = manager->buzzes().front();

    const Point base{720 - 210, 450 - 100};
    for (const double offset : {-26, 26, -24, 24, -20, 20, -15, 15, -10, 10, -5, 5, 0}) {
        EXPECT_EQ(buzz.lock()->frame(), (Rect{base.x + offset, base.y, 420, 200}));
        queue.advance(45ms);
    }
    EXPECT_EQ(buzz.lock()->alpha(), 1);
    queue.advance(12s - 13 * 45ms - 1ms);
    EXPECT_TRUE(buzz.lock()->isVisible());
    EXPECT_EQ(buzz.lock()->alpha(), 1);
    queue.advance(1ms);
    EXPECT_TRUE(buzz.expired());

    show("y", true);
    const std::weak_ptr<Panel> closed = manager->buzzes().front();
    queue.advance(90ms);
    close("y");
    EXPECT_FALSE(closed.lock()->isVisible()) << "a closed buzz fades";
    EXPECT_TRUE(manager->buzzes().empty());
    queue.advance(540ms);
    EXPECT_TRUE(closed.expired());

    screen.frame.reset();
    queue.advance(12s);
    const auto pending = queue.pending();
    show("x", true);
    EXPECT_TRUE(manager->buzzes().empty());
    EXPECT_EQ(queue.pending(), pending);
    EXPECT_EQ(activations, 2);
}

TEST_F(Popups, ABuzzFollowsTheScreenWhileItShakesAndAtRest)
{
    show("z", true);
    const Panel &buzz = *manager->buzzes().front();
    queue.advance(45ms);
    EXPECT_EQ(buzz.frame().origin(), (Point{510 + 26, 350}));
    screen.change(Rect{0, 0, 800, 600});
    queue.advance(45ms);
    EXPECT_EQ(buzz.frame().origin(), (Point{190 - 24, 200}));
    queue.advance(1s);
    EXPECT_EQ(buzz.frame().origin(), (Point{190, 200}));
    screen.change(std::nullopt);
    EXPECT_EQ(buzz.frame().origin(), (Point{190, 200}));
    screen.change(Rect{0, 0, 1000, 700});
    EXPECT_EQ(buzz.frame(), (Rect{290, 250, 420, 200}));
}

TEST_F(Popups, NothingOutlivesTheManager)
{
    show("fades");
    const std::weak_ptr<Panel> fading = manager->panels().front();
    show("shakes", true);
    show("stays");
    const std::weak_ptr<Panel> shaking = manager->buzzes().front();
    close("fades");
    queue.advance(90ms);
    close("shakes");
    EXPECT_FALSE(shaking.expired()) << "nothing is under way";
    manager.reset();
    EXPECT_TRUE(fading.expired());
    EXPECT_TRUE(shaking.expired());
    close("stays");
    EXPECT_EQ(queue.pending(), 0U);
    queue.advance(20s);
}

} // namespace
} // namespace kivolo
