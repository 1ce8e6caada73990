#include "style/scroll_bar.h"

#include "style/theme.h"

#include <gtest/gtest.h>

namespace kivolo {
namespace {

TEST(ScrollBarTest, ShowsWhichWayThereIsMoreHoweverLittle)
{
    ScrollBar bar;
    bar.resize(ScrollBar::barWidth, 500);
    bar.setPageStep(496);
    for (const int overflow : {4, 100, 100'000}) {
        bar.setRange(0, overflow);
        bar.setValue(0);
        const QColor track = Theme::shared().colors().window;
        const QImage atTop = bar.grab().toImage();
        EXPECT_NE(atTop.pixelColor(4, 10), track) << overflow;
        EXPECT_EQ(atTop.pixelColor(4, 480), track) << overflow;
        bar.setValue(overflow);
        const QImage atEnd = bar.grab().toImage();
        EXPECT_EQ(atEnd.pixelColor(4, 20), track) << overflow;
        EXPECT_NE(atEnd.pixelColor(4, 490), track) << overflow;
    }
}

} // namespace
} // namespace kivolo
