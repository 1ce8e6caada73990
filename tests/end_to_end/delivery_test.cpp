// Real processes: a server, a member's program on a real display, and a second member who is a
// plain HTTP client.
#include "end_to_end/circle.h"
#include "end_to_end/desktop.h"
#include "support/fake_desktop.h"

#include <gtest/gtest.h>

using namespace kivolo;
using namespace Qt::StringLiterals;

namespace {

class DeliveryTest : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(circle.start()); }
    void TearDown() override { EXPECT_TRUE(circle.stop()); }

    void startClient(const QString &bus = {}) { ASSERT_TRUE(circle.startAna(bus)); }

    const Desktop desktop;
    Circle circle;
};

} // namespace

// The other kinds, and where several stand: the conversation and the tests of the desktops.
TEST_F(DeliveryTest, ACapsuleOutlastsANoteAndOpensByItself)
{
    EXPECT_TRUE(circle.sendText(u"from before the start"_s));
    startClient();
    EXPECT_TRUE(desktop.frames().isEmpty()) << "what was there before is not shown";
    EXPECT_TRUE(circle.sendText(u"a note"_s));
    EXPECT_TRUE(circle.sendCapsule(12));
    const QRect note = desktop.popupSlot(0);
    const QRect sealed = desktop.capsuleSlot(0);
    for (const QList<QRect> &cards : {QList{note, sealed}, {sealed}, {note}, {}})
        EXPECT_TRUE(eventually([&] { return desktop.frames() == cards; })) << cards.size();
    EXPECT_TRUE(circle.ana().isRunning());
}

TEST_F(DeliveryTest, CardsFollowTheDesktopIntoTheDarkAndBack)
{
    constexpr uint dark = 1;
    constexpr uint light = 2;
    const PrivateBus bus;
    FakePortal portal(bus.connect(), dark);
    startClient(bus.address());
    EXPECT_TRUE(circle.sendCapsule(3600));
    // To the right of all words.
    const QPoint onCard = desktop.capsuleSlot(0).topRight() + QPoint(-20, 20);
    const auto lightness = [&] { return desktop.colorAt(onCard).lightnessF(); };

    ASSERT_TRUE(eventually([&] { return desktop.frames().contains(desktop.capsuleSlot(0)); }));
    EXPECT_TRUE(eventually([&] { return lightness() < 0.25F; })) << "the program has begun dark";
    portal.change(light);
    EXPECT_TRUE(eventually([&] { return lightness() > 0.9F; })) << "a card on screen brightens";
    portal.change(dark);
    EXPECT_TRUE(eventually([&] { return lightness() < 0.25F; })) << "and darkens";
}
