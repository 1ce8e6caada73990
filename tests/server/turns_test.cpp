#include "http/turns.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <functional>
#include <gmock/gmock.h>

namespace kivolo::server::http::test {
namespace {

Awaitable<void> take(Turns &turns, Address guest, std::shared_ptr<Timer> timer, std::string name,
                     std::vector<std::string> &taken)
{
    co_await turns.next(guest, std::move(timer));
    taken.push_back(std::move(name));
}

} // namespace

TEST(Turns, AreEveryGuestsAndLetNewcomersInBetween)
{
    constexpr int crowd = 100;
    asio::io_context context;
    Turns turns(context);
    std::vector<std::string> taken;
    const auto come = [&](const char *address, std::string name) {
        asio::co_spawn(context,
                       take(turns, Address::parse(address).value(),
                            std::make_shared<Timer>(context), std::move(name), taken),
                       asio::detached);
    };
    for (int i = 0; i < crowd; ++i)
        come(i % 2 ? "2001:db8::1" : "2001:db8::2", "crowd");
    come("192.0.2.1", "member's first");
    come("192.0.2.1", "member's second");

    // Somebody who comes again and again sees how many went before.
    std::size_t mostAtOnce = 0;
    std::function<void(std::size_t)> comeAgain = [&](std::size_t before) {
        mostAtOnce = std::max(mostAtOnce, taken.size() - before);
        if (taken.size() < crowd + 2)
            asio::post(context, [&, now = taken.size()] { comeAgain(now); });
    };
    comeAgain(0);
    context.run();

    EXPECT_EQ(taken.size(), crowd + 2);
    const std::vector<std::string> first(taken.begin(), taken.begin() + 4);
    EXPECT_THAT(first, testing::ElementsAre("crowd", "member's first", "crowd", "member's second"));
    EXPECT_LE(mostAtOnce, 16u);
}

} // namespace kivolo::server::http::test
