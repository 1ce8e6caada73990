#include "hub.h"

#include "session.h"

#include <algorithm>
#include <array>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <ctime>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <spdlog/spdlog.h>

namespace kivolo::server::http {

using asio::ip::tcp;

namespace {

using UnsentBytes = asio::detail::socket_option::integer<IPPROTO_TCP, TCP_NOTSENT_LOWAT>;

/// Starts what serves one connection. It throws for want of memory only, which ends just that one.
void start(asio::io_context &context, Awaitable<void> coroutine)
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

/// Starts what every connection relies on. Its failure comes out of the context's run() and ends
/// the process: a server that keeps no deadlines any more must not look healthy.
void startVital(asio::io_context &context, Awaitable<void> coroutine)
{
    asio::co_spawn(context, std::move(coroutine), [](std::exception_ptr failure) {
        if (failure)
            std::rethrow_exception(failure);
    });
}

/// What does not fit into an empty socket buffer is not worth waiting for.
void sayBusy(Socket &socket)
{
    constexpr std::string_view busy =
        "HTTP/1.1 503 Service Unavailable\r\nContent-Type: application/json\r\n"
        "Content-Length: 66\r\nConnection: close\r\n\r\n"
        R"({"error":"Kivolo is very busy just now. Please try again later."})"
        "\n";
    error_code ignored;
    socket.non_blocking(true, ignored);
    socket.write_some(asio::buffer(busy), ignored);
    // Closing over an unread request would reset the connection and take the reply with it.
    std::array<char, 4096> request;
    socket.read_some(asio::buffer(request), ignored);
}

File openSpare()
{
    return File(::open("/dev/null", O_RDONLY | O_CLOEXEC));
}

} // namespace

Hub::Hub(asio::io_context &context, Handler handler, Limits limits, Proxies proxies,
         Watcher watcher)
    : context_(context)
    , handler_(std::move(handler))
    , limits_(limits)
    , proxies_(std::move(proxies))
    , watcher_(std::move(watcher))
    , received_(limits.allReceivedBytes)
    , replies_(limits.allRepliesBytes)
    , turns_(context)
    , spare_(openSpare())
    , sweepTimer_(context)
    , acceptTimer_(context)
{
    refreshDate();
}

void Hub::serve(Listening listening, std::shared_ptr<Tls> tls)
{
    listening.acceptor.non_blocking(true);
    if (doors_.empty())
        startVital(context_, sweep(shared_from_this()));
    doors_.push_back({std::move(listening), std::move(tls)});
    startVital(context_, accept(shared_from_this(), doors_.back()));
}

void Hub::stop()
{
    if (stopping_)
        return;
    stopping_ = true;
    end_ = std::chrono::steady_clock::now() + limits_.grace;
    error_code ignored; // there is nobody left to tell
    for (Door &door : doors_) {
        door.listening.file = SocketFile();
        door.listening.acceptor.close(ignored);
    }
    acceptTimer_.cancel();
    sweepTimer_.cancel();
    // What ends a session does so in a later turn of the loop, so the set stays as it is.
    for (Session *session : sessions_)
        session->finish();
}

std::int64_t Hub::deadlineAfter(std::chrono::milliseconds duration) const
{
    return ticks_ + duration / limits_.tick + 1;
}

std::int64_t Hub::ticksFor(std::uint64_t bytes) const
{
    const auto milliseconds = static_cast<std::int64_t>(bytes * 1'000 / limits_.bytesPerSecond);
    return milliseconds / limits_.tick.count();
}

std::chrono::milliseconds Hub::staggered()
{
    constexpr int steps = 64;
    steps_ = (steps_ + 1) % steps;
    return limits_.spread * steps_ / steps;
}

Awaitable<void> Hub::accept(std::shared_ptr<Hub> self, Door &door)
{
    while (!self->stopping_) {
        auto [error] =
            co_await door.listening.acceptor.async_wait(Acceptor::wait_read, awaitedWithError);
        if (!error)
            error = self->welcomeSome(door);
        if (error && !self->stopping_) {
            // Out of descriptors, most likely: trying again at once would only burn the processor.
            spdlog::warn("cannot accept a connection: {}", error.message());
            co_await self->turnAwayAll(door);
            self->acceptTimer_.expires_after(self->limits_.tick);
            co_await self->acceptTimer_.async_wait(awaitedWithError);
        }
    }
}

// With one of them in every round of the loop, a newcomer would wait for seconds behind a crowd.
error_code Hub::welcomeSome(Door &door)
{
    constexpr int atOnce = 32;
    try {
        for (int i = 0; i < atOnce; ++i) {
            Socket socket(context_);
            error_code error;
            door.listening.acceptor.accept(socket, error);
            if (error == asio::error::would_block)
                break;
            if (error)
                return error;
            welcome(std::move(socket), door);
        }
    } catch (const std::bad_alloc &) {
        spdlog::error("there is no memory for another connection");
    }
    return {};
}

// They would wait in the kernel's queue for as long as no other connection ends.
Awaitable<void> Hub::turnAwayAll(Door &door)
{
    constexpr int atOnce = 32;
    for (error_code error; !error && !stopping_;) {
        spare_ = File();
        for (int i = 0; i < atOnce && !error; ++i) {
            Socket socket(context_);
            door.listening.acceptor.accept(socket, error);
            if (!error)
                turnAway(socket, door);
        }
        spare_ = openSpare();
        co_await asio::post(context_, awaited);
    }
}

void Hub::turnAway(Socket &socket, const Door &door)
{
    watcher_({{}, 503, "connections", {}});
    if (!door.tls) // to whom nothing can be said before a handshake
        sayBusy(socket);
}

void Hub::welcome(Socket socket, const Door &door)
{
    const std::optional<Address> peer = peerOf(socket);
    if (!peer)
        return;
    error_code ignored; // as a Unix socket has no such option
    socket.set_option(tcp::no_delay(true), ignored);
    // What was not sent yet is the kernel's memory, which nobody counts.
    socket.set_option(UnsentBytes(128 << 10), ignored);
    socket.non_blocking(true, ignored);
    if (!makeRoomFor(*peer)) {
        turnAway(socket, door);
        return;
    }
    auto session =
        std::make_shared<Session>(Stream(std::move(socket), *peer, door.tls), shared_from_this());
    sessions_.insert(session.get());
    if (!proxies_.trusts(*peer))
        crowd_.add(*peer, session.get());
    start(context_, Session::run(std::move(session)));
}

// Whoever has more than others has to give way to them: at first what is idle, which loses nothing
// but the way here, and then what is not. So no address can keep the others out.
bool Hub::makeRoomFor(const Address &peer)
{
    const bool proxy = proxies_.trusts(peer);
    if (!proxy && crowd_.of(peer).size() >= limits_.connectionsPerAddress)
        return endOneOf(crowd_.of(peer), false);
    if (sessions_.size() < limits_.connections)
        return true;
    if (crowd_.empty())
        return false;
    const Address fullest = crowd_.fullest();
    if (fullest.network() == peer.network())
        return endOneOf(crowd_.of(peer), false);
    const bool sameNet = fullest.wide() == peer.wide();
    const auto count = [&](const Address &of) {
        return sameNet ? crowd_.of(of).size() : crowd_.fromNet(of);
    };
    const std::size_t theirs = count(fullest);
    const std::size_t ours = proxy ? 0 : count(peer);
    return theirs > ours && endOneOf(crowd_.of(fullest), theirs > ours + 1);
}

bool Hub::endOneOf(const Crowd::Sessions &sessions, bool busyToo)
{
    const auto first = std::ranges::min_element(sessions, {}, [](const Session *session) {
        return std::pair(!session->isIdle(), session->deadline());
    });
    if (first == sessions.end() || !((*first)->isIdle() || busyToo))
        return false;
    Session &session = **first;
    forget(session);
    session.abort();
    return true;
}

void Hub::forget(Session &session)
{
    sessions_.erase(&session);
    crowd_.remove(session.peer(), &session);
}

Awaitable<void> Hub::sweep(std::shared_ptr<Hub> self)
{
    while (!self->stopping_ || !self->sessions_.empty()) {
        const auto next = std::chrono::steady_clock::now() + self->limits_.tick;
        self->sweepTimer_.expires_at(std::min(next, self->end_));
        const auto [cancelled] = co_await self->sweepTimer_.async_wait(awaitedWithError);
        if (cancelled)
            continue;
        if (std::chrono::steady_clock::now() >= self->end_)
            co_return self->abortAll();
        ++self->ticks_;
        self->refreshDate();
        while (self->expireSome())
            co_await asio::post(self->context_, awaited);
    }
}

// Thousands whose time is over at the same tick would keep everybody else waiting.
bool Hub::expireSome()
{
    constexpr int atOnce = 64;
    int expired = 0;
    for (Session *session : sessions_) {
        if (session->expire(ticks_) && ++expired == atOnce)
            return true;
    }
    return false;
}

void Hub::abortAll()
{
    for (Session *session : sessions_)
        session->abort();
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
