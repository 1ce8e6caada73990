#include "overlays/capsule_manager.h"

#include "overlays/capsule_card_model.h"
#include "platform/desktop/screen.h"
#include "staging/manual_main_queue.h"
#include "support/blank_content.h"

#include <gmock/gmock.h>
#include <limits>

namespace kivolo {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class MadeUpScreen final : public Screen
{
public:
    std::optional<Rect> visibleFrame() const override
    {
        ++asked;
        return frame;
    }
    std::optional<Rect> frame = Rect{0, 0, 1440, 875};
    mutable int asked = 0;
};

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
            if (onOpen)
                onOpen();
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
    std::function<void()> onOpen;
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
    EXPECT_THAT(origins(), ElementsAre(Point{1134, 16}, Point{1134, 118}, Point{1134, 220}));
    EXPECT_EQ(manager.items()[0].panel->frame(), (Rect{1134, 16, 290, 92}));
    EXPECT_EQ(remaining(0), 90);
    EXPECT_TRUE(manager.items()[0].panel->isVisible());
    queue.advance(9s);
    EXPECT_EQ(remaining(1), 1);
    EXPECT_TRUE(opened.empty());
    const std::weak_ptr<Panel> second = manager.items()[1].panel;
    queue.advance(1s);
    EXPECT_THAT(opened, ElementsAre("b"));
    EXPECT_TRUE(second.expired());
    EXPECT_THAT(origins(), ElementsAre(Point{1134, 16}, Point{1134, 118}));
    screen.frame = Rect{0, 40, 800, 560};
    Q_EMIT screen.changed();
    EXPECT_THAT(origins(), ElementsAre(Point{494, 56}, Point{494, 158}));

    // Two in one tick: in their order, each while it is still there, and one layout for both.
    queue.advance(79s);
    screen.asked = 0;
    queue.advance(1s);
    EXPECT_THAT(opened, ElementsAre("b", "a", "c"));
    EXPECT_THAT(stillShown, ElementsAre(3U, 2U, 1U));
    EXPECT_EQ(screen.asked, 1);
    EXPECT_EQ(queue.pending(), 0U) << "ticking for nothing";
}

TEST_F(Capsules, TickOnlyWhileThereAreSome)
{
    EXPECT_FALSE(manager.isTicking());
    add("past", 900);
    EXPECT_EQ(remaining(0), 0);
    queue.advance(999ms);
    EXPECT_TRUE(opened.empty());
    queue.advance(1ms);
    EXPECT_THAT(opened, ElementsAre("past"));
    EXPECT_FALSE(manager.isTicking());

    queue.advance(500ms);
    add("none", std::nullopt);
    queue.advance(999ms);
    EXPECT_EQ(opened.size(), 1U) << "the first tick comes a second after the timer starts";
    queue.advance(1ms);
    EXPECT_THAT(opened, ElementsAre("past", "none"));
}

TEST_F(Capsules, FollowTheWallClockAndSurviveAnyTime)
{
    add("a", 1060);
    add("never", std::numeric_limits<qint64>::max());
    add("ever", std::numeric_limits<qint64>::min());
    EXPECT_EQ(remaining(2), 0);
    queue.setNow(940);
    queue.advance(1s);
    EXPECT_EQ(remaining(0), 119);
    queue.setNow(5000);
    queue.advance(1s);
    EXPECT_THAT(opened, ElementsAre("ever", "a"));
    queue.setNow(-10);
    queue.advance(1s);
    EXPECT_EQ(remaining(0), std::numeric_limits<qint64>::max());
}

TEST_F(Capsules, OpenWithoutAScreenAndMayAddAnother)
{
    screen.frame.reset();
    onOpen = [this] {
        onOpen = nullptr;
        add("next", 1500);
    };
    add("a", 1001);
    EXPECT_EQ(origins().front(), (Point{0, 0}));
    queue.advance(1s);
    EXPECT_THAT(opened, ElementsAre("a"));
    ASSERT_EQ(manager.items().size(), 1U);
    EXPECT_EQ(remaining(0), 499);
    EXPECT_TRUE(manager.isTicking());
}

} // namespace
} // namespace kivolo
