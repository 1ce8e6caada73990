#include "session.h"

#include <algorithm>
#include <array>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/rfc7230.hpp>
#include <limits>
#include <spdlog/spdlog.h>
#include <sys/socket.h>

namespace kivolo::server::http {

namespace asio = boost::asio;
namespace beast = boost::beast;
using boost::system::error_code;

namespace {

constexpr auto awaited = asio::as_tuple(asio::use_awaitable);
constexpr std::size_t headerChunk = 4 << 10;
constexpr std::size_t bodyChunk = 64 << 10;
constexpr std::size_t writeChunk = 256 << 10;
constexpr std::size_t fileChunk = 64 << 10;
constexpr std::string_view busy = "Kivolo is very busy just now. Please try again later.";
// As much as is read of a request that was refused, so that its sender gets to see the reply.
constexpr std::size_t drainBytes = 8 << 20;

std::string_view view(beast::string_view text)
{
    return {text.data(), text.size()};
}

} // namespace

Session::Session(asio::ip::tcp::socket socket, std::shared_ptr<Hub> hub)
    : socket_(std::move(socket))
    , hub_(std::move(hub))
    , buffer_(hub_->limits().headerBytes + bodyChunk)
    , wakeUp_(socket_.get_executor())
{
    error_code gone;
    const auto peer = socket_.remote_endpoint(gone);
    if (!gone)
        peer_ = Address(peer.address());
}

Session::~Session()
{
    hub_->forget(this);
}

asio::awaitable<void> Session::run(std::shared_ptr<Session> self)
{
    for (bool more = true; more;) {
        more = co_await self->serveOne();
        self->bodyShare_ = Budget::Share();
        if (more)
            co_await self->letOthersGoFirst();
    }
}

asio::awaitable<bool> Session::serveOne()
{
    Parser parser;
    parser.header_limit(hub_->limits().headerBytes);
    parser.body_limit(hub_->limits().bodyBytes);
    const bool received = co_await receive(parser);
    if (!received)
        co_return false;
    auto &message = parser.get();
    Request request{view(message.method_string()), view(message.target()),
                    view(message[beast::http::field::content_type]), std::move(message.body())};
    request.client = clientOf(message);
    std::optional<Response> response = co_await answer(request);
    if (!response)
        co_return false;
    if (response->status >= 500)
        spdlog::warn("{} {} {}", request.method, request.path(), response->status);
    else
        spdlog::debug("{} {} {}", request.method, request.path(), response->status);
    const bool keepAlive = parser.keep_alive() && !hub_->stopping();
    const bool withBody = !request.isHead();
    const bool sent = co_await send(std::move(*response), withBody, keepAlive);
    co_return sent &&keepAlive;
}

// The header may stand there several times, as every proxy is free to add a line of its own.
Address Session::clientOf(const Parser::value_type &message) const
{
    if (!hub_->proxies().trusts(peer_))
        return peer_;
    std::string forwardedFor;
    const auto [begin, end] = message.equal_range("X-Forwarded-For");
    for (auto field = begin; field != end; ++field)
        (forwardedFor += forwardedFor.empty() ? "" : ",") += view(field->value());
    return hub_->proxies().client(peer_, forwardedFor);
}

// A request that comes in whole with the previous one is parsed without touching the socket.
asio::awaitable<bool> Session::receive(Parser &parser)
{
    const bool known = co_await receiveHeader(parser);
    if (!known)
        co_return false;
    std::optional<Response> objection = objectionToBody(parser);
    if (objection) {
        co_await turnAway(std::move(*objection));
        co_return false;
    }
    if (parser.is_done())
        co_return true;
    const bool ready = co_await welcomeBody(parser);
    if (!ready)
        co_return false;
    const bool complete = co_await receiveBody(parser);
    co_return complete;
}

asio::awaitable<bool> Session::receiveHeader(Parser &parser)
{
    if (buffer_.size() == 0) {
        if (hub_->stopping())
            co_return false;
        enter(Phase::Idle, hub_->limits().idle);
    } else {
        enter(Phase::Reading, hub_->limits().header);
    }
    // Stops behind the header, so that what is not wanted of a body is refused before it is read.
    parser.eager(false);
    for (;;) {
        error_code error;
        if (buffer_.size() > 0)
            buffer_.consume(parser.put(buffer_.data(), error));
        if (error && error != beast::http::error::need_more) {
            co_await refuse(error);
            co_return false;
        }
        if (parser.is_header_done())
            co_return true;
        const bool more = co_await readMore(headerChunk);
        if (!more)
            co_return false;
        if (phase_ == Phase::Idle)
            enter(Phase::Reading, hub_->limits().header);
    }
}

// Asks for it where the client waits to be asked.
asio::awaitable<bool> Session::welcomeBody(Parser &parser)
{
    const beast::string_view expected = parser.get()[beast::http::field::expect];
    if (!beast::iequals(expected, "100-continue"))
        co_return true;
    constexpr std::string_view go = "HTTP/1.1 100 Continue\r\n\r\n";
    const bool written = co_await write(go);
    co_return written;
}

// A body has to say how long it is. No client of ours needs another way, and the parser bounds
// neither what can stand beside the chunks of a coded one nor the fields behind it.
std::optional<Response> Session::objectionToBody(Parser &parser)
{
    if (parser.chunked())
        return errorResponse(411, "The request is wrong: it does not say how long it is.");
    if (parser.get().count(beast::http::field::transfer_encoding) > 0)
        return errorResponse(501, "The request is wrong: its coding is not known here.");
    std::optional<Budget::Share> share = hub_->bodies().take(parser.content_length().value_or(0));
    if (!share)
        return errorResponse(503, busy);
    bodyShare_ = std::move(*share);
    return std::nullopt;
}

asio::awaitable<bool> Session::receiveBody(Parser &parser)
{
    enter(Phase::Reading, hub_->limits().body);
    parser.eager(true);
    for (;;) {
        error_code error;
        if (buffer_.size() > 0)
            buffer_.consume(parser.put(buffer_.data(), error));
        if (error && error != beast::http::error::need_more) {
            co_await refuse(error);
            co_return false;
        }
        if (parser.is_done())
            co_return true;
        const bool more = co_await readMore(bodyChunk);
        if (!more)
            co_return false;
    }
}

asio::awaitable<bool> Session::readMore(std::size_t most)
{
    const auto space = buffer_.prepare(most);
    const auto [failure, count] = co_await socket_.async_read_some(space, awaited);
    if (failure) {
        if (expired_ && phase_ == Phase::Reading)
            co_await refuse(asio::error::timed_out);
        co_return false;
    }
    buffer_.commit(count);
    co_return true;
}

// Requests that have come together with the one before them would keep the thread until the last
// is answered. And the room that a large one needed is not kept for the rest of the connection.
asio::awaitable<void> Session::letOthersGoFirst()
{
    if (buffer_.size() > 0)
        co_await asio::post(socket_.get_executor(), asio::use_awaitable);
    else if (buffer_.capacity() > headerChunk)
        buffer_.shrink_to_fit();
}

asio::awaitable<void> Session::refuse(error_code error)
{
    unsigned status = 400;
    std::string_view sentence = "The request could not be understood.";
    if (error == beast::http::error::body_limit) {
        status = 413;
        sentence = "That is too large to be sent.";
    } else if (error == beast::http::error::header_limit) {
        status = 431;
        sentence = "The request could not be understood: its header is too large.";
    } else if (error == asio::error::timed_out) {
        status = 408;
        sentence = "The request took too long to arrive. Please try again.";
    }
    spdlog::debug("refused with {}: {}", status, error.message());
    co_await turnAway(errorResponse(status, sentence));
}

asio::awaitable<void> Session::turnAway(Response response)
{
    const bool sent = co_await send(std::move(response), true, false);
    if (sent)
        co_await drain();
}

asio::awaitable<std::optional<Response>> Session::answer(Request &request)
{
    enter(Phase::Answering, hub_->limits().answer);
    for (;;) {
        answered_ = hub_->handler()(request, laterReply());
        while (!answered_ && !gone_) {
            wakeUp_.expires_at(std::chrono::steady_clock::time_point::max());
            co_await wakeUp_.async_wait(awaited);
        }
        if (!answered_)
            co_return std::nullopt;
        Answer answer = std::move(*answered_);
        answered_.reset();
        if (auto *response = std::get_if<Response>(&answer))
            co_return std::move(*response);
        if (auto *held = std::get_if<Held>(&answer)) {
            co_await waitHeld(std::move(*held));
            if (gone_)
                co_return std::nullopt;
            request.waited = true;
            enter(Phase::Answering, hub_->limits().answer);
            continue;
        }
        const auto time = std::get<AgainAt>(answer).time;
        co_await waitUntil(time);
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
        const auto executor = self->socket_.get_executor();
        asio::post(executor, [self = std::move(self), answer = std::move(answer)]() mutable {
            self->deliver(std::move(answer));
        });
    };
}

// The wall clock decides, and it is asked again afterwards; this only has to come back near enough.
asio::awaitable<void> Session::waitUntil(std::chrono::system_clock::time_point time)
{
    const auto rest = time - std::chrono::system_clock::now();
    const auto wait =
        std::max<std::chrono::system_clock::duration>(rest, std::chrono::milliseconds(1));
    if (!hub_->stopping())
        co_await pause(wait);
}

// While it waits, a connection keeps no more than it has to. When the server stops, all are
// answered, but not in one instant, in which their clients would come back together.
asio::awaitable<void> Session::waitHeld(Held held)
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
asio::awaitable<void> Session::pause(std::chrono::steady_clock::duration duration)
{
    if (gone_)
        co_return;
    watchForHangup();
    wakeUp_.expires_after(duration);
    co_await wakeUp_.async_wait(awaited);
    error_code ignored; // a watch that is over already
    socket_.cancel(ignored);
}

void Session::watchForHangup()
{
    socket_.async_wait(asio::socket_base::wait_read, [self = shared_from_this()](error_code error) {
        char byte = 0;
        const int socket = self->socket_.native_handle();
        if (error)
            return;
        const ssize_t count = ::recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
        if (count > 0)
            return; // its next request; from here on nobody can tell without reading that
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            self->watchForHangup(); // woken by what was read long ago
            return;
        }
        self->gone_ = true;
        self->wakeUp_.cancel();
    });
}

void Session::deliver(Answer answer)
{
    answered_ = std::move(answer);
    wakeUp_.cancel();
}

asio::awaitable<bool> Session::send(Response response, bool withBody, bool keepAlive)
{
    std::optional<Budget::Share> share = hub_->replies().take(response.body.size());
    if (!share) {
        spdlog::warn("too much is being sent already for a reply of {} bytes",
                     response.body.size());
        response = errorResponse(503, busy);
    }
    replyDeadline_ = hub_->deadlineAfter(hub_->limits().reply);
    enter(Phase::Writing, hub_->limits().write);
    composeHead(response, keepAlive);
    const std::string_view body = withBody ? std::string_view(response.body) : std::string_view();
    // Nearly every reply fits into the socket's buffer and is gone with this one call.
    const std::array<asio::const_buffer, 2> parts{asio::buffer(head_), asio::buffer(body)};
    error_code error;
    std::size_t written = socket_.write_some(parts, error);
    if (error && error != asio::error::would_block)
        co_return false;
    const std::array<std::string_view, 2> texts{head_, body};
    for (const std::string_view part : texts) {
        const std::size_t skipped = std::min(written, part.size());
        written -= skipped;
        if (skipped == part.size())
            continue;
        const std::string_view rest = part.substr(skipped);
        const bool sent = co_await write(rest);
        if (!sent)
            co_return false;
    }
    if (!response.file || !withBody)
        co_return true;
    replyDeadline_ = std::numeric_limits<std::int64_t>::max(); // holds next to no memory
    const bool sent = co_await writeFile(response);
    co_return sent;
}

asio::awaitable<bool> Session::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        const std::string_view chunk = bytes.substr(0, writeChunk);
        enter(phase_, hub_->limits().write);
        if (phase_ == Phase::Writing)
            deadline_ = std::min(deadline_, replyDeadline_);
        const auto buffer = asio::buffer(chunk);
        const auto [error, count] = co_await asio::async_write(socket_, buffer, awaited);
        if (error)
            co_return false;
        bytes.remove_prefix(count);
    }
    co_return true;
}

asio::awaitable<bool> Session::writeFile(const Response &response)
{
    std::string chunk(fileChunk, '\0');
    for (std::uint64_t left = response.fileSize; left > 0;) {
        const std::size_t wanted = std::min<std::uint64_t>(left, chunk.size());
        const ssize_t count = ::read(response.file.descriptor(), chunk.data(), wanted);
        // A file that became shorter meanwhile: only an early end tells the client.
        if (count <= 0)
            co_return false;
        const auto size = static_cast<std::size_t>(count);
        const std::string_view bytes = std::string_view(chunk).substr(0, size);
        const bool sent = co_await write(bytes);
        if (!sent)
            co_return false;
        left -= size;
    }
    co_return true;
}

// Closing while the peer still sends would reset the connection and take the reply with it.
asio::awaitable<void> Session::drain()
{
    error_code error;
    socket_.shutdown(asio::socket_base::shutdown_send, error);
    buffer_.clear();
    enter(Phase::Reading, hub_->limits().header);
    for (std::size_t total = 0; !error && total < drainBytes;) {
        const auto space = buffer_.prepare(bodyChunk);
        const auto [failure, count] = co_await socket_.async_read_some(space, awaited);
        error = failure;
        total += count;
    }
}

void Session::composeHead(const Response &response, bool keepAlive)
{
    const auto reason = beast::http::obsolete_reason(beast::http::int_to_status(response.status));
    head_ = "HTTP/1.1 ";
    head_ += std::to_string(response.status);
    head_ += ' ';
    head_.append(reason.data(), reason.size());
    head_ += "\r\nDate: ";
    head_ += hub_->date();
    head_ += "\r\nContent-Type: ";
    head_ += response.contentType;
    if (response.measured) {
        head_ += "\r\nContent-Length: ";
        head_ += std::to_string(response.file ? response.fileSize : response.body.size());
    }
    head_ += response.file ? "\r\nX-Content-Type-Options: nosniff" : "\r\nCache-Control: no-store";
    if (!response.allow.empty())
        (head_ += "\r\nAllow: ") += response.allow;
    if (response.retryAfter.count() > 0)
        (head_ += "\r\nRetry-After: ") += std::to_string(response.retryAfter.count());
    // Said always, because an older client takes nothing for granted.
    head_ += keepAlive ? "\r\nConnection: keep-alive" : "\r\nConnection: close";
    head_ += "\r\n\r\n";
}

void Session::enter(Phase phase, std::chrono::milliseconds limit)
{
    phase_ = phase;
    deadline_ = hub_->deadlineAfter(limit);
    expired_ = false;
}

void Session::expire(std::int64_t tick)
{
    if (tick < deadline_)
        return;
    expired_ = true;
    if (phase_ == Phase::Answering) {
        spdlog::error("a request was never answered");
        gone_ = true;
        wakeUp_.cancel();
        return;
    }
    error_code ignored; // a connection that is already gone
    socket_.cancel(ignored);
}

void Session::finish()
{
    error_code ignored;
    if (phase_ == Phase::Idle)
        socket_.cancel(ignored);
    else if (phase_ == Phase::Answering)
        wakeUp_.cancel();
}

void Session::abort()
{
    error_code ignored;
    gone_ = true;
    socket_.close(ignored);
    wakeUp_.cancel();
}

} // namespace kivolo::server::http
