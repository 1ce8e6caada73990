#include "feed/doodle_cache.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

TEST(DoodleCacheTest, DecodesOnceAndForgetsTheOldest)
{
    QImage drawing(80, 40, QImage::Format_RGB32);
    drawing.fill(Qt::red);
    const QString body = encodeDoodle(drawing).value();
    constexpr qsizetype one = 40 * 20 * 4;
    DoodleCache cache({40, 20}, one);
    QSignalSpy decoded(&cache, &DoodleCache::decoded);

    EXPECT_EQ(cache.find(1, body).state, DoodleLookup::Pending);
    EXPECT_EQ(cache.find(1, body).state, DoodleLookup::Pending);
    ASSERT_TRUE(decoded.wait());
    EXPECT_EQ(decoded.count(), 1);
    EXPECT_EQ(cache.find(1, body).image.size(), QSize(40, 20));

    cache.find(2, QStringLiteral("no picture"));
    ASSERT_TRUE(decoded.wait());
    EXPECT_EQ(cache.find(2, {}).state, DoodleLookup::NoPicture);
    EXPECT_EQ(cache.find(1, body).state, DoodleLookup::Picture);

    cache.find(3, body);
    ASSERT_TRUE(decoded.wait());
    EXPECT_EQ(cache.find(1, body).state, DoodleLookup::Pending);
}

} // namespace
} // namespace kivolo
