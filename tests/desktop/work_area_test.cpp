#include "platform/desktop/work_area.h"

#include <gtest/gtest.h>

namespace kivolo {
namespace {

constexpr Strut left(int reach, int from, int to)
{
    return {{reach, 0, 0, 0}, {{{from, to}}}};
}
constexpr Strut right(int reach, int from, int to)
{
    return {{0, reach, 0, 0}, {{{0, 0}, {from, to}}}};
}
constexpr Strut top(int reach, int from, int to)
{
    return {{0, 0, reach, 0}, {{{0, 0}, {0, 0}, {from, to}}}};
}
constexpr Strut bottom(int reach, int from, int to)
{
    return {{0, 0, 0, reach}, {{{0, 0}, {0, 0}, {0, 0}, {from, to}}}};
}

TEST(WorkArea, IsWhatTheStrutsOfAScreenLeaveOfIt)
{
    // A small screen on the left, a large one on the right, both at the top.
    const QSize desktop(3360, 1080);
    const QRect small(0, 0, 1440, 900);
    const QRect large(1440, 0, 1920, 1080);
    const struct
    {
        const char *what;
        std::vector<Strut> struts;
        QRect ofSmall;
        QRect ofLarge;
    } cases[] = {
        {"none", {}, small, large},
        {"below the small one", {bottom(180 + 44, 0, 1439)}, {0, 0, 1440, 856}, large},
        {"below the large one", {bottom(44, 1440, 3359)}, small, {1440, 0, 1920, 1036}},
        {"over by a pixel", {bottom(44, 0, 1440)}, small, {1440, 0, 1920, 1036}},
        {"below both", {bottom(44, 0, 3359)}, small, {1440, 0, 1920, 1036}},
        {"above both, two deep",
         {top(24, 0, 3359), top(30, 0, 3359)},
         {0, 30, 1440, 870},
         {1440, 30, 1920, 1050}},
        {"left of the large one", {left(1440 + 60, 0, 1079)}, small, {1500, 0, 1860, 1080}},
        {"right of the small one", {right(1920 + 60, 0, 899)}, {0, 0, 1380, 900}, large},
        {"all around the small one",
         {top(20, 0, 1439), left(30, 0, 899), bottom(180 + 10, 0, 1439), right(1925, 0, 899)},
         {30, 20, 1405, 870},
         large},
        {"beside what is there", {bottom(44, 0, -1), top(0, 0, 3359)}, small, large},
        {"out of reason", {bottom(100000, 0, 3359), left(-5, 0, 1079)}, small, large},
    };
    for (const auto &one : cases) {
        EXPECT_EQ(withoutStruts(small, desktop, one.struts), one.ofSmall) << one.what;
        EXPECT_EQ(withoutStruts(large, desktop, one.struts), one.ofLarge) << one.what;
    }
}

TEST(WorkArea, IsTheOneThatLiesOnTheScreen)
{
    const QRect areas[] = {{0, 24, 1440, 876}, {1440, 0, 1920, 1040}};
    EXPECT_EQ(areaOn({1440, 0, 1920, 1080}, areas), areas[1]);
    EXPECT_EQ(areaOn({0, 0, 1440, 900}, areas), areas[0]);
    // Not yet up to date, a moment after the screens have changed.
    EXPECT_EQ(areaOn({0, 0, 1600, 900}, areas), areas[0]);
    EXPECT_EQ(areaOn({5000, 0, 100, 100}, areas), std::nullopt);
    EXPECT_EQ(areaOn({0, 0, 1440, 900}, {}), std::nullopt);
}

} // namespace
} // namespace kivolo
