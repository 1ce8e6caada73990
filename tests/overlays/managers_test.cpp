// When the floating cards come and go, and where they stand.
#include "overlays/capsule_card_model.h"
#include "overlays/capsule_manager.h"
#include "overlays/popup_manager.h"
#include "platform/desktop/screen.h"
#include "staging/manual_main_queue.h"
#include "support/blank_content.h"

#include <QHash>
#include <gmock/gmock.h>
#include <limits>

namespace kivolo {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr auto ever = std::numeric_limits<qint64>::min();
constexpr auto never = std::numeric_limits<qint64>::max();

class MadeUpScreen final : public Screen
{
public:
    std::optional<Rect> visibleFrame() const override
    {
        ++asked;
        return frame;
    }
    void change(std::optional<Rect> to)
    {
        frame = to;
        Q_EMIT changed();
    }
    std::optional<Rect> frame = Rect{0, 25, 1440, 850}; // its top-right corner at (1440, 875)
    mutable int asked = 0;
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

    closeActions.clear();
    for (int i = 0; i < 20; ++i)
        manager->show({}, false);
    EXPECT_TRUE(closeActions.empty()) << "a card was made inside the loop that shows them";
    queue.advance(80ms);
    EXPECT_EQ(origins().back(), (Point{484, 434 - 22 * 162})) << "on past the bottom edge";
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
    // Closed by hand while it fades out by itself: gone when the first of the two fades is over.
    queue.advance(4900ms);
    close("b");
    queue.advance(100ms);
    EXPECT_THAT(origins(), ElementsAre(Point{1124, 709}));
    queue.advance(200ms);
    EXPECT_EQ(origins().size(), 1U);
}

TEST_F(Popups, ABuzzShakesInTheMiddleForHalfASecondAndStaysTwelve)
{
    show("a");
    EXPECT_FALSE(shaken[QStringLiteral("a")]);
    EXPECT_EQ(activations, 0);
    show("z", true);
    EXPECT_EQ(activations, 1);
    EXPECT_TRUE(shaken[QStringLiteral("z")]);
    EXPECT_THAT(origins(), ElementsAre(Point{1124, 709})) << "a buzz moved the column";
    const std::weak_ptr<Panel> buzz = manager->buzzes().front();
    for (const double offset : {-26, 26, -24, 24, -20, 20, -15, 15, -10, 10, -5, 5, 0}) {
        EXPECT_EQ(buzz.lock()->frame(), (Rect{720 - 210 + offset, 450 - 100, 420, 200}));
        queue.advance(45ms);
    }
    queue.advance(12s - 13 * 45ms - 1ms);
    EXPECT_EQ(buzz.lock()->alpha(), 1);
    queue.advance(1ms);
    EXPECT_TRUE(buzz.expired());

    // It follows the screen while it shakes, and at rest.
    show("y", true);
    const std::weak_ptr<Panel> closed = manager->buzzes().front();
    screen.change(Rect{0, 0, 800, 600});
    queue.advance(45ms);
    EXPECT_EQ(closed.lock()->frame().origin(), (Point{190 + 26, 200}));
    queue.advance(1s);
    screen.change(std::nullopt);
    EXPECT_EQ(closed.lock()->frame().origin(), (Point{190, 200}));
    screen.change(Rect{0, 0, 1000, 700});
    EXPECT_EQ(closed.lock()->frame(), (Rect{290, 250, 420, 200}));
    close("y");
    EXPECT_TRUE(closed.expired()) << "a closed buzz fades";

    screen.frame.reset();
    queue.advance(12s);
    show("x", true);
    EXPECT_TRUE(manager->buzzes().empty());
    EXPECT_EQ(queue.pending(), 0U);
    EXPECT_EQ(activations, 2);
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
}

class Capsules : public testing::Test
{
protected:
    void add(const char *id, std::optional<qint64> openAt)
    {
        Beam beam;
        beam.id = QLatin1String(id);
        beam.open_at = openAt;
        manager.add(beam, [this](const Beam &opening) {
            opened.push_back(opening.id.toStdString());
            stillShown.push_back(manager.items().size());
            if (opening.id == QLatin1String("first of two"))
                add("next", opening.open_at.value() + 499);
        });
        queue.advance(0ms);
    }
    std::vector<Point> origins() const
    {
        std::vector<Point> result;
        for (const auto &item : manager.items())
            result.push_back(item.panel->frame().origin());
        return result;
    }
    qint64 remaining(std::size_t item) const { return manager.items().at(item).model->remaining; }

    ManualMainQueue queue{1000};
    MadeUpScreen screen;
    std::vector<std::string> opened;
    std::vector<std::size_t> stillShown;
    CapsuleManager manager{{queue, screen, [](const Beam &, const auto &) {
                                return std::make_unique<BlankContent>();
                            }}};
};

TEST_F(Capsules, StackUpwardsAndCloseUp)
{
    add("a", 1090);
    add("b", 1010);
    add("c", 1090);
    add("b", 1500); // shown already
    EXPECT_THAT(origins(), ElementsAre(Point{1134, 41}, Point{1134, 143}, Point{1134, 245}));
    EXPECT_EQ(manager.items()[0].panel->frame(), (Rect{1134, 41, 290, 92}));
    EXPECT_TRUE(manager.items()[0].panel->isVisible());
    queue.advance(9s);
    EXPECT_EQ(remaining(1), 1);
    const std::weak_ptr<Panel> second = manager.items()[1].panel;
    queue.advance(1s);
    EXPECT_TRUE(second.expired());
    EXPECT_THAT(origins(), ElementsAre(Point{1134, 41}, Point{1134, 143}));
    screen.change(Rect{0, 40, 800, 560});
    EXPECT_THAT(origins(), ElementsAre(Point{494, 56}, Point{494, 158}));

    // Two in one tick: in their order, each while it is still there, and one layout for both.
    queue.advance(79s);
    EXPECT_THAT(opened, ElementsAre("b"));
    screen.asked = 0;
    queue.advance(1s);
    EXPECT_THAT(opened, ElementsAre("b", "a", "c"));
    EXPECT_THAT(stillShown, ElementsAre(3U, 2U, 1U));
    EXPECT_EQ(screen.asked, 1);
}

TEST_F(Capsules, TickOnlyWhileThereAreSomeAndByTheWallClock)
{
    add("past", ever);
    EXPECT_EQ(remaining(0), 0);
    queue.advance(999ms);
    EXPECT_TRUE(opened.empty());
    queue.advance(1ms);
    EXPECT_FALSE(manager.isTicking());
    queue.advance(500ms);
    EXPECT_EQ(queue.pending(), 0U) << "ticking for nothing";

    add("none", std::nullopt);
    add("never", never);
    queue.advance(999ms);
    EXPECT_THAT(opened, ElementsAre("past")) << "a tick comes a second after the timer starts";
    queue.advance(1ms);
    EXPECT_THAT(opened, ElementsAre("past", "none"));
    screen.frame.reset();
    add("first of two", 1060);
    EXPECT_EQ(origins().back(), (Point{0, 0}));
    queue.setNow(940);
    queue.advance(1s);
    EXPECT_EQ(remaining(1), 119);
    queue.setNow(1060);
    queue.advance(1s);
    EXPECT_THAT(opened, ElementsAre("past", "none", "first of two"));
    EXPECT_EQ(remaining(1), 498);
    queue.setNow(-10);
    queue.advance(1s);
    EXPECT_EQ(remaining(0), never);
}

} // namespace
} // namespace kivolo
