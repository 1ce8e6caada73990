#include "session.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <spdlog/spdlog.h>

namespace kivolo::server::http {

namespace beast = boost::beast;

namespace {

std::string_view view(beast::string_view text)
{
    return {text.data(), text.size()};
}

} // namespace

Session::Session(Stream stream, std::shared_ptr<Hub> hub)
    : stream_(std::move(stream))
    , hub_(std::move(hub))
    , buffer_(hub_->limits().headerBytes + bodyChunk)
    , wakeUp_(stream_.executor())
{}

Session::~Session()
{
    hub_->forget(*this);
}

Awaitable<void> Session::run(std::shared_ptr<Session> self)
{
    self->enter(Phase::Idle, self->hub_->limits().header);
    for (bool more = co_await self->stream_.handshake(); more;) {
        more = co_await self->serveOne();
        self->received_ = Budget::Share();
        if (more)
            co_await self->endRequest();
    }
}

Awaitable<bool> Session::serveOne()
{
    Parser parser;
    path_ = {};
    parser.header_limit(hub_->limits().headerBytes);
    parser.body_limit(hub_->limits().bodyBytes);
    const bool received = co_await receive(parser);
    if (!received)
        co_return false;
    Request request = requestOf(parser.get());
    std::optional<Response> response = co_await answer(request);
    if (!response)
        co_return false;
    note(request, *response);
    std::string().swap(request.body);
    received_.shrinkTo(std::min<std::size_t>(received_.bytes(), hub_->limits().headerBytes));
    const bool keepAlive = parser.keep_alive() && !hub_->stopping();
    const bool withBody = !request.isHead();
    const bool sent = co_await send(std::move(*response), withBody, keepAlive);
    co_return sent &&keepAlive;
}

Request Session::requestOf(Parser::value_type &message)
{
    using Field = beast::http::field;
    Request request{view(message.method_string()), view(message.target()),
                    view(message[Field::content_type]), std::move(message.body())};
    request.client = client_;
    request.encrypted = stream_.encrypted();
    request.host = view(message[Field::host]);
    request.version = view(message["X-Kivolo-Version"]);
    request.ifNoneMatch = view(message[Field::if_none_match]);
    request.range = view(message[Field::range]);
    request.ifRange = view(message[Field::if_range]);
    request.replies = &hub_->replies();
    path_ = request.path();
    return request;
}

void Session::note(const Request &request, const Response &response)
{
    constexpr unsigned noRoom = 507; // why is said once by whoever has none
    const bool failed = response.status >= 500 && response.status != noRoom;
    spdlog::log(failed ? spdlog::level::warn : spdlog::level::debug,
                "a request was answered\tmethod={} path={} status={}", request.method,
                request.path(), response.status);
}

// The header may stand there several times, as every proxy is free to add a line of its own.
Address Session::clientOf(const Parser::value_type &message) const
{
    const Address &peer = stream_.peer();
    if (!hub_->proxies().trusts(peer))
        return peer;
    std::string forwardedFor;
    const auto [begin, end] = message.equal_range("X-Forwarded-For");
    for (auto field = begin; field != end; ++field)
        (forwardedFor += forwardedFor.empty() ? "" : ",") += view(field->value());
    return hub_->proxies().client(peer, forwardedFor);
}
// Requests that have come together with the one before them would keep the thread until the last
// is answered. And the room that a large one needed is not kept for the rest of the connection.
Awaitable<void> Session::endRequest()
{
    if (buffer_.size() > 0)
        co_await letOthersGoFirst();
    else if (buffer_.capacity() > firstChunk)
        buffer_.shrink_to_fit();
}

Awaitable<void> Session::letOthersGoFirst()
{
    co_await hub_->turns().next(client_, {shared_from_this(), &wakeUp_});
}

Awaitable<std::optional<Response>> Session::answer(Request &request)
{
    enter(Phase::Answering, hub_->limits().answer);
    asked_ = std::chrono::steady_clock::now();
    for (;;) {
        answered_ = hub_->handler()(request, laterReply());
        while (!answered_ && !gone_) {
            wakeUp_.expires_at(std::chrono::steady_clock::time_point::max());
            co_await wakeUp_.async_wait(awaitedWithError);
        }
        if (!answered_)
            co_return std::nullopt;
        Answer answer = std::move(*answered_);
        answered_.reset();
        if (auto *ask = std::get_if<Ask>(&answer))
            answer = std::exchange(ask->answer, {})();
        if (auto *response = std::get_if<Response>(&answer))
            co_return std::move(*response);
        if (auto *held = std::get_if<Held>(&answer)) {
            co_await waitHeld(std::move(*held));
            if (gone_)
                co_return std::nullopt;
            request.waited = true;
            enter(Phase::Answering, hub_->limits().answer);
            asked_ = std::chrono::steady_clock::now();
            continue;
        }
        const auto time = std::get<AgainAt>(answer).time;
        co_await waitUntil(time);
        asked_ = std::chrono::steady_clock::now();
        if (gone_)
            co_return std::nullopt;
        if (hub_->stopping())
            co_return errorResponse(503, "Kivolo is being restarted. Please try again.");
    }
}

// Gives up its hold on the session as it is called: the last one must go on this thread.
Reply Session::laterReply()
{
    return [self = shared_from_this()](Answer answer) mutable {
        const auto executor = self->stream_.executor();
        asio::post(executor, [self = std::move(self), answer = std::move(answer)]() mutable {
            self->deliver(std::move(answer));
        });
    };
}

// The wall clock decides, and it is asked again afterwards; this only has to come back near enough.
Awaitable<void> Session::waitUntil(std::chrono::system_clock::time_point time)
{
    const auto rest = time - std::chrono::system_clock::now();
    const auto wait =
        std::max<std::chrono::system_clock::duration>(rest, std::chrono::milliseconds(1));
    if (!hub_->stopping())
        co_await pause(wait);
}

// While it waits, a connection keeps no more than it has to. When the server stops, all are
// answered, but not in one instant, in which their clients would come back together.
Awaitable<void> Session::waitHeld(Held held)
{
    if (buffer_.size() == 0)
        buffer_.shrink_to_fit();
    held.place->onRelease = [this] { wakeUp_.cancel(); };
    if (!hub_->stopping())
        co_await pause(held.atMost);
    held.place.reset();
    if (hub_->stopping() && !gone_)
        co_await pause(hub_->staggered());
}

// Ends early when the client is gone or the timer is cancelled.
Awaitable<void> Session::pause(std::chrono::steady_clock::duration duration)
{
    if (gone_)
        co_return;
    watchForHangup();
    wakeUp_.expires_after(duration);
    co_await wakeUp_.async_wait(awaitedWithError);
    stream_.cancel(); // the watch
}

void Session::watchForHangup()
{
    stream_.whenReadable([self = shared_from_this()](error_code error) {
        if (error)
            return;
        switch (self->stream_.look()) {
        case Stream::Peer::Speaking:
            return; // its next request; from here on nobody can tell without reading that
        case Stream::Peer::Silent:
            self->watchForHangup(); // woken by what was read long ago
            return;
        case Stream::Peer::Gone:
            self->gone_ = true;
            self->wakeUp_.cancel();
        }
    });
}

void Session::deliver(Answer answer)
{
    answered_ = std::move(answer);
    wakeUp_.cancel();
}

void Session::enter(Phase phase, std::chrono::milliseconds limit)
{
    phase_ = phase;
    deadline_ = hub_->deadlineAfter(limit);
    expired_ = 0;
}

bool Session::expire(std::int64_t tick)
{
    if (tick < deadline_ || tick == expired_)
        return false;
    expired_ = tick;
    if (phase_ == Phase::Answering) {
        spdlog::error("a request was never answered");
        gone_ = true;
        wakeUp_.cancel();
    } else {
        stream_.cancel();
    }
    return true;
}

void Session::finish()
{
    if (phase_ == Phase::Idle)
        stream_.cancel();
    else if (phase_ == Phase::Answering)
        wakeUp_.cancel();
}

void Session::abort()
{
    gone_ = true;
    stream_.abort();
    wakeUp_.cancel();
}

} // namespace kivolo::server::http
