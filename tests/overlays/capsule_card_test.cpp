#include "overlays/capsule_card.h"

#include "overlays/capsule_card_model.h"
#include "staging/beams.h"
#include "style/brand.h"
#include "style/palette.h"

#include <QCoreApplication>
#include <QImage>
#include <QPainter>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

Beam capsule(const QString &handle)
{
    Beam beam = noteOf(QStringLiteral("secret"));
    beam.from_handle = handle;
    beam.sealed = 1;
    return beam;
}

TEST(CapsuleCardTest, CountdownText)
{
    const std::pair<qint64, const char *> cases[] = {
        {0, "0s"},         {59, "59s"},          {60, "1m 00s"},
        {3599, "59m 59s"}, {3600, "1h 00m 00s"}, {7 * 86400 + 61, "168h 01m 01s"},
    };
    for (const auto &[seconds, text] : cases)
        EXPECT_EQ(CapsuleCard::fmt(seconds), QLatin1String(text));
    EXPECT_FALSE(CapsuleCard::fmt(std::numeric_limits<qint64>::max()).startsWith(u'-'));
}

TEST(CapsuleCardTest, FollowsItsModelAtTheNextTurn)
{
    const auto model = std::make_shared<CapsuleCardModel>(3600);
    CapsuleCard card(capsule(QStringLiteral("Mia")), model);
    EXPECT_EQ(card.accessibleName(), QStringLiteral("Mia's time capsule"));
    EXPECT_EQ(card.accessibleDescription(), QStringLiteral("Opens in 1h 00m 00s"));

    model->remaining = 61;
    model->remaining = 60;
    EXPECT_EQ(card.accessibleDescription(), QStringLiteral("Opens in 1h 00m 00s"));
    QCoreApplication::processEvents();
    EXPECT_EQ(card.accessibleDescription(), QStringLiteral("Opens in 1m 00s"));
}

TEST(CapsuleCardTest, KeepsItsSizeAndItsSecret)
{
    const auto model = std::make_shared<CapsuleCardModel>(59);
    CapsuleCard card(capsule(QString(100'000, u'W')), model);
    EXPECT_EQ(card.size(), QSize(290, 92));
    EXPECT_FALSE(card.accessibleName().contains(QLatin1String("secret")));

    QImage image(card.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    card.render(&image);
    EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0);
    EXPECT_EQ(image.pixelColor(289, 91).alpha(), 0);
    // The outline goes from violet to coral, and nothing of the name reaches it.
    EXPECT_GT(image.pixelColor(0, 30).blue(), 240);
    EXPECT_GT(image.pixelColor(289, 60).red(), 240);
    const QColor material = image.pixelColor(145, 6);
    for (int y = 20; y < 70; ++y)
        EXPECT_EQ(image.pixelColor(283, y), material);
}

} // namespace
} // namespace kivolo
