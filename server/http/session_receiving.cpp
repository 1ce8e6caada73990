// How a request comes in.
#include "session.h"

#include <boost/beast/http/error.hpp>
#include <boost/beast/http/rfc7230.hpp>
#include <spdlog/spdlog.h>

namespace kivolo::server::http {

namespace beast = boost::beast;

namespace {

// As much as is read of a request that was refused, so that its sender gets to see the reply.
constexpr std::size_t drainBytes = 8 << 20;

} // namespace

// A request that comes in whole with the previous one is parsed without touching the socket.
Awaitable<bool> Session::receive(Parser &parser)
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
Awaitable<bool> Session::welcomeBody(Parser &parser)
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
        return errorResponse(503, busySentence);
    bodyShare_ = std::move(*share);
    return std::nullopt;
}

Awaitable<bool> Session::receiveBody(Parser &parser)
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

Awaitable<bool> Session::readMore(std::size_t most)
{
    const auto space = buffer_.prepare(most);
    const auto [failure, count] = co_await stream_.read(space);
    if (failure) {
        if (expired_ && phase_ == Phase::Reading)
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
        const auto space = buffer_.prepare(bodyChunk);
        const auto [error, count] = co_await stream_.discard(space);
        if (error)
            co_return;
        total += count;
    }
}

} // namespace kivolo::server::http
