#include "turns.h"

#include <boost/asio/post.hpp>

namespace kivolo::server::http {

Awaitable<void> Turns::next(std::shared_ptr<Timer> timer)
{
    waiting_.push_back(timer);
    if (waiting_.size() == 1)
        asio::post(context_, [this] { give(); });
    timer->expires_at(std::chrono::steady_clock::time_point::max());
    co_await timer->async_wait(awaitedWithError);
}

// Each step takes some hundredths of a millisecond.
void Turns::give()
{
    constexpr int atOnce = 16;
    for (int i = 0; i < atOnce && !waiting_.empty(); ++i) {
        if (const std::shared_ptr<Timer> timer = waiting_.front().lock())
            timer->cancel();
        waiting_.pop_front();
    }
    if (!waiting_.empty())
        asio::post(context_, [this] { give(); });
}

} // namespace kivolo::server::http
