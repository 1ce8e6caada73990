#include "hub.h"

#include "session.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <ctime>
#include <spdlog/spdlog.h>

namespace kivolo::server::http {

namespace asio = boost::asio;
using asio::ip::tcp;

namespace {

constexpr auto awaited = asio::as_tuple(asio::use_awaitable);

/// Every coroutine of a server is started here. None throws but for want of memory, which ends
/// that one connection.
void start(asio::io_context &context, asio::awaitable<void> coroutine)
{
    asio::co_spawn(context, std::move(coroutine), [](std::exception_ptr failure) {
        try {
            if (failure)
                std::rethrow_exception(failure);
        } catch (const std::exception &error) {
            spdlog::error("a connection failed: {}", error.what());
        }
    });
}

} // namespace

Hub::Hub(asio::io_context &context, Handler handler, Limits limits)
    : context_(context)
    , handler_(std::move(handler))
    , limits_(limits)
    , bodies_(limits.allBodiesBytes)
    , replies_(limits.allRepliesBytes)
    , acceptor_(context)
    , sweepTimer_(context)
    , acceptTimer_(context)
{
    refreshDate();
}

void Hub::open(const tcp::endpoint &endpoint)
{
    acceptor_.open(endpoint.protocol());
    acceptor_.set_option(tcp::acceptor::reuse_address(true));
    acceptor_.bind(endpoint);
    acceptor_.listen();
    start(context_, accept(shared_from_this()));
    start(context_, sweep(shared_from_this()));
}

void Hub::stop()
{
    if (stopping_)
        return;
    stopping_ = true;
    end_ = deadlineAfter(limits_.grace);
    boost::system::error_code ignored; // there is nobody left to tell
    acceptor_.close(ignored);
    acceptTimer_.cancel();
    sweepTimer_.cancel();
    const std::unordered_set<Session *> sessions = sessions_;
    for (Session *session : sessions)
        session->finish();
}

std::int64_t Hub::deadlineAfter(std::chrono::milliseconds duration) const
{
    return ticks_ + duration / limits_.tick + 1;
}

asio::awaitable<void> Hub::accept(std::shared_ptr<Hub> self)
{
    while (!self->stopping_) {
        auto [error, socket] = co_await self->acceptor_.async_accept(awaited);
        if (!error) {
            self->welcome(std::move(socket));
        } else if (!self->stopping_) {
            // Out of descriptors, most likely: trying again at once would only burn the processor.
            spdlog::warn("cannot accept a connection: {}", error.message());
            self->acceptTimer_.expires_after(self->limits_.tick);
            co_await self->acceptTimer_.async_wait(awaited);
        }
    }
}

void Hub::welcome(tcp::socket socket)
{
    boost::system::error_code error;
    socket.set_option(tcp::no_delay(true), error);
    socket.non_blocking(true, error);
    if (sessions_.size() >= limits_.connections) {
        constexpr std::string_view busy =
            "HTTP/1.1 503 Service Unavailable\r\nContent-Type: application/json\r\n"
            "Content-Length: 66\r\nConnection: close\r\n\r\n"
            R"({"error":"Kivolo is very busy just now. Please try again later."})"
            "\n";
        // What does not fit into an empty socket buffer is not worth waiting for.
        socket.write_some(asio::buffer(busy), error);
        return;
    }
    auto session = std::make_shared<Session>(std::move(socket), shared_from_this());
    sessions_.insert(session.get());
    start(context_, Session::run(std::move(session)));
}

asio::awaitable<void> Hub::sweep(std::shared_ptr<Hub> self)
{
    while (!self->stopping_ || !self->sessions_.empty()) {
        self->sweepTimer_.expires_after(self->limits_.tick);
        const auto [cancelled] = co_await self->sweepTimer_.async_wait(awaited);
        if (cancelled)
            continue;
        ++self->ticks_;
        self->refreshDate();
        const bool over = self->stopping_ && self->ticks_ >= self->end_;
        const std::unordered_set<Session *> sessions = self->sessions_;
        for (Session *session : sessions) {
            if (over)
                session->abort();
            else
                session->expire(self->ticks_);
        }
    }
}

void Hub::refreshDate()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    gmtime_r(&now, &parts);
    char text[40];
    const std::size_t length =
        std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &parts);
    date_.assign(text, length);
}

} // namespace kivolo::server::http
