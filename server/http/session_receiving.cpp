// How a request comes in.
#include "session.h"

#include <algorithm>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/rfc7230.hpp>
#include <spdlog/spdlog.h>

namespace kivolo::server::http {

namespace beast = boost::beast;

namespace {

// As much as is read of a request that was refused, so that its sender gets to see the reply.
constexpr std::size_t drainBytes = 8 << 20;
// A field of four bytes takes eighty where it is kept.
constexpr std::ptrdiff_t mostFields = 64;

std::string_view view(const beast::flat_buffer &buffer)
{
    return {static_cast<const char *>(buffer.data().data()), buffer.size()};
}

bool hasTooManyFields(std::string_view request)
{
    const std::string_view head = request.substr(0, request.find("\r\n\r\n"));
    return std::ranges::count(head, '\n') > mostFields;
}

} // namespace

// A request that comes in whole with the previous one is parsed without touching the socket.
Awaitable<bool> Session::receive(Parser &parser)
{
    const bool known = co_await receiveHeader(parser);
    if (!known)
        co_return false;
    const bool kept = keepFor(clientOf(parser.get()));
    std::optional<Response> objection = kept ? objectionToBody(parser) : busyResponse();
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

Awaitable<bool> Session::receiveHeader(Parser &parser)
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
    client_ = stream_.peer();
    for (;;) {
        error_code error;
        if (hasTooManyFields(view(buffer_)))
            error = beast::http::error::header_limit;
        else if (buffer_.size() > 0)
            buffer_.consume(parser.put(buffer_.data(), error));
        if (error && error != beast::http::error::need_more) {
            co_await refuse(error);
            co_return false;
        }
        if (parser.is_header_done())
            co_return true;
        const bool more = co_await readMore(buffer_.size() == 0 ? firstChunk : headerChunk);
        if (!more)
            co_return false;
        if (phase_ == Phase::Idle)
            enter(Phase::Reading, hub_->limits().header);
        if (!keepHead()) {
            co_await turnAway(busyResponse());
            co_return false;
        }
    }
}

// Asks for it where the client waits to be asked.
Awaitable<bool> Session::welcomeBody(Parser &parser)
{
    const beast::string_view expected = parser.get()[beast::http::field::expect];
    if (!beast::iequals(expected, "100-continue"))
        co_return true;
    constexpr std::string_view go = "HTTP/1.1 100 Continue\r\n\r\n";
    replySlack_ = deadline_;
    replied_ = 0;
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
    return std::nullopt;
}

// Counts what has come, and not what was announced.
bool Session::keep(std::size_t more)
{
    if (received_.bytes() > 0)
        return received_.grow(more);
    std::optional<Budget::Share> share = hub_->received().take(client_, more);
    if (share)
        received_ = std::move(*share);
    return share.has_value();
}

// The first part of a head is what every connection has room for.
bool Session::keepHead()
{
    const std::size_t beyond = std::max(buffer_.size(), headerChunk) - headerChunk;
    return beyond <= received_.bytes() || keep(beyond - received_.bytes());
}

// Of a proxy's connection it is known only behind a request's head whose the request is.
bool Session::keepFor(const Address &client)
{
    if (client == client_)
        return true;
    const std::size_t bytes = received_.bytes();
    received_ = Budget::Share();
    client_ = client;
    return keep(bytes);
}

Awaitable<bool> Session::receiveBody(Parser &parser)
{
    enter(Phase::Reading, hub_->limits().body);
    const std::int64_t slack = deadline_;
    const std::uint64_t length = parser.content_length().value_or(0);
    parser.eager(true);
    for (;;) {
        error_code error;
        const std::uint64_t missing = parser.content_length_remaining().value_or(0);
        if (!keep(std::min<std::uint64_t>(buffer_.size(), missing))) {
            co_await turnAway(busyResponse());
            co_return false;
        }
        if (buffer_.size() > 0)
            buffer_.consume(parser.put(buffer_.data(), error));
        if (error && error != beast::http::error::need_more) {
            co_await refuse(error);
            co_return false;
        }
        if (parser.is_done())
            co_return true;
        // Room for as much as has come, so that half of what is taken is always used; and never for
        // more than the rest, so that nothing of the next request is read.
        const std::uint64_t left = parser.content_length_remaining().value_or(0);
        const std::uint64_t come = length - left;
        deadline_ = slack + hub_->ticksFor(come);
        const std::uint64_t chunk = std::clamp<std::uint64_t>(come, headerChunk, bodyChunk);
        co_await letOthersGoFirst();
        const bool more = co_await readMore(std::min(left, chunk));
        if (!more)
            co_return false;
    }
}

Awaitable<bool> Session::readMore(std::size_t most)
{
    const auto space = buffer_.prepare(most);
    const auto [failure, count] = co_await stream_.read(space);
    if (failure) {
        if (expired_ != 0 && phase_ == Phase::Reading)
            co_await refuse(asio::error::timed_out);
        co_return false;
    }
    buffer_.commit(count);
    co_return true;
}

Awaitable<void> Session::refuse(error_code error)
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

Awaitable<void> Session::turnAway(Response response)
{
    const bool sent = co_await send(std::move(response), true, false);
    if (sent)
        co_await drain();
}

// Closing while the peer still sends would reset the connection and take the reply with it.
Awaitable<void> Session::drain()
{
    stream_.endWriting();
    buffer_.clear();
    enter(Phase::Reading, hub_->limits().header);
    for (std::size_t total = 0; total < drainBytes;) {
        const auto space = buffer_.prepare(headerChunk);
        const auto [error, count] = co_await stream_.discard(space);
        if (error)
            co_return;
        total += count;
    }
}

} // namespace kivolo::server::http
