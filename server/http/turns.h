// Whose turn it is to do what takes long.
#pragma once

#include "address.h"
#include "loop.h"

#include <deque>
#include <memory>
#include <unordered_map>

namespace kivolo::server::http {

/// Hundreds of connections that send or take as much as they can would all have their next step
/// before anybody who came after them. So of such steps only a few are taken in each round of the
/// loop, one of each guest's in turn, however many connections he has. On the thread of the
/// context.
class Turns
{
public:
    explicit Turns(asio::io_context &context)
        : context_(context)
    {}

    /// Waits with that timer, which nothing else uses meanwhile. Over when it is cancelled, too.
    Awaitable<void> next(Address guest, std::shared_ptr<Timer> timer);

private:
    using Waiting = std::deque<std::weak_ptr<Timer>>; ///< Who gives up waiting may be gone.

    void give();
    void giveNext();

    asio::io_context &context_;
    std::unordered_map<Address, Waiting> waiting_;
    std::deque<Address> order_; ///< Of those who wait.
};

} // namespace kivolo::server::http
