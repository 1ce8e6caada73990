// Real processes: a server, a member's program on a real display, and a second member who is a
// plain HTTP client.
#include "end_to_end/circle.h"
#include "end_to_end/desktop.h"
#include "support/fake_desktop.h"

#include <QBuffer>
#include <QImage>
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

QString doodle()
{
    QImage image(60, 40, QImage::Format_RGB32);
    image.fill(Qt::white);
    QBuffer png;
    image.save(&png, "PNG");
    return u"data:image/png;base64,"_s + QString::fromLatin1(png.data().toBase64());
}

} // namespace

TEST_F(DeliveryTest, EachKindOfBeamArrivesStandsInItsPlaceAndGoes)
{
    EXPECT_TRUE(circle.sendText(u"from before the start"_s));
    startClient();
    EXPECT_TRUE(desktop.frames().isEmpty()) << "what was there before is not shown";

    EXPECT_TRUE(circle.sendText(u"a note"_s));
    EXPECT_TRUE(circle.sendText(doodle(), {{u"type"_s, u"doodle"_s}}));
    EXPECT_TRUE(circle.sendText(u"a buzz"_s, {{u"effect"_s, u"shake"_s}}));
    EXPECT_TRUE(circle.sendCapsule(12));

    const QRect note = desktop.popupSlot(0);
    const QRect picture = desktop.popupSlot(1);
    const QRect sealed = desktop.capsuleSlot(0);
    const auto cards = [this] { return desktop.frames(); };
    EXPECT_TRUE(eventually([&] {
        return cards().size() == 4 && cards().contains(note) && cards().contains(picture) &&
               cards().contains(desktop.buzzPlace()) && cards().contains(sealed);
    })) << "each stands in its place";
    EXPECT_TRUE(eventually([&] { return !cards().contains(note) && cards().contains(sealed); }))
        << "it outlasts the others";
    EXPECT_TRUE(eventually([&] { return cards().contains(note) && !cards().contains(sealed); }))
        << "it opens by itself";
    EXPECT_TRUE(eventually([&] { return cards().isEmpty(); })) << "all have gone";
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
