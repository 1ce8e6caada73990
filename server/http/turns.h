// Whose turn it is to do what takes long.
#pragma once

#include "loop.h"

#include <deque>
#include <memory>

namespace kivolo::server::http {

/// Hundreds of connections that send or take as much as they can would all have their next step
/// before anybody who came after them. So of such steps only a few are taken in each round of the
/// loop, in the order in which they were asked for. On the thread of the context.
class Turns
{
public:
    explicit Turns(asio::io_context &context)
        : context_(context)
    {}

    /// Waits with that timer, which nothing else uses meanwhile. Over when it is cancelled, too.
    Awaitable<void> next(std::shared_ptr<Timer> timer);

private:
    void give();

    asio::io_context &context_;
    std::deque<std::weak_ptr<Timer>> waiting_; ///< Who gives up waiting may be gone.
};

} // namespace kivolo::server::http
