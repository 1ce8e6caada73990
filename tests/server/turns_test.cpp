#include "http/turns.h"

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <functional>
#include <gtest/gtest.h>

namespace kivolo::server::http::test {
namespace {

Awaitable<void> take(Turns &turns, std::shared_ptr<Timer> timer, int name, std::vector<int> &taken)
{
    co_await turns.next(std::move(timer));
    taken.push_back(name);
}

} // namespace

TEST(Turns, AreTakenInOrderAndLetNewcomersInBetween)
{
    constexpr int crowd = 100;
    asio::io_context context;
    Turns turns(context);
    std::vector<int> taken;
    for (int i = 0; i < crowd; ++i)
        asio::co_spawn(context, take(turns, std::make_shared<Timer>(context), i, taken),
                       asio::detached);

    // Somebody who comes again and again sees how many went before.
    std::size_t mostAtOnce = 0;
    std::function<void(std::size_t)> comeAgain = [&](std::size_t before) {
        mostAtOnce = std::max(mostAtOnce, taken.size() - before);
        if (taken.size() < crowd)
            asio::post(context, [&, now = taken.size()] { comeAgain(now); });
    };
    comeAgain(0);
    context.run();

    EXPECT_TRUE(std::ranges::is_sorted(taken));
    EXPECT_EQ(taken.size(), crowd);
    EXPECT_LE(mostAtOnce, 16u);
}

} // namespace kivolo::server::http::test
