#include "turns.h"

#include <boost/asio/post.hpp>

namespace kivolo::server::http {

// Where memory runs out in here, a guest stands in the order and nowhere else, or the reverse.
Awaitable<void> Turns::next(Address guest, std::shared_ptr<Timer> timer)
{
    Waiting &queue = waiting_[guest.network()];
    if (order_.empty())
        asio::post(context_, [this] { give(); });
    if (queue.empty())
        order_.push_back(guest.network());
    queue.push_back(timer);
    timer->expires_at(std::chrono::steady_clock::time_point::max());
    co_await timer->async_wait(awaitedWithError);
}

// Each step takes some hundredths of a millisecond.
void Turns::give()
{
    constexpr int atOnce = 16;
    for (int i = 0; i < atOnce && !order_.empty(); ++i)
        giveNext();
    if (!order_.empty())
        asio::post(context_, [this] { give(); });
}

void Turns::giveNext()
{
    const Address guest = order_.front();
    order_.pop_front();
    Waiting &queue = waiting_[guest];
    if (!queue.empty()) {
        if (const std::shared_ptr<Timer> timer = queue.front().lock())
            timer->cancel();
        queue.pop_front();
    }
    if (queue.empty())
        waiting_.erase(guest);
    else
        order_.push_back(guest);
}

} // namespace kivolo::server::http
