#include "stream.h"

#include <algorithm>
#include <array>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <cstring>
#include <openssl/err.h>
#include <sys/socket.h>

namespace kivolo::server::http {

namespace {

constexpr std::string_view onlyTls =
    "HTTP/1.1 400 Bad Request\r\nContent-Type: application/json\r\n"
    "Content-Length: 49\r\nConnection: close\r\n\r\n"
    R"({"error":"This address is spoken to with https."})";

enum class HandshakeStep { Done, Read, Write, Plain, Failed };

HandshakeStep takeStep(SSL *tls)
{
    ERR_clear_error();
    const int result = SSL_do_handshake(tls);
    switch (SSL_get_error(tls, result)) {
    case SSL_ERROR_NONE:
        return HandshakeStep::Done;
    case SSL_ERROR_WANT_READ:
        return HandshakeStep::Read;
    case SSL_ERROR_WANT_WRITE:
        return HandshakeStep::Write;
    default:
        const int reason = ERR_GET_REASON(ERR_peek_error());
        return reason == SSL_R_HTTP_REQUEST ? HandshakeStep::Plain : HandshakeStep::Failed;
    }
}

/// Takes a step on the worker, and goes on where it was called.
Awaitable<HandshakeStep> calculate(asio::thread_pool::executor_type worker, SSL *tls)
{
    const auto begin = [](auto handler, asio::thread_pool::executor_type on, SSL *with) {
        asio::post(on, [handler = std::move(handler), with]() mutable {
            const HandshakeStep step = takeStep(with);
            const auto origin = asio::get_associated_executor(handler);
            asio::post(origin, [handler = std::move(handler), step]() mutable {
                std::move(handler)(step);
            });
        });
    };
    return asio::async_initiate<decltype(awaited), void(HandshakeStep)>(begin, awaited, worker,
                                                                        tls);
}

} // namespace

std::optional<Address> peerOf(const Socket &socket)
{
    error_code gone;
    const auto peer = socket.remote_endpoint(gone);
    if (gone)
        return std::nullopt;
    const int family = peer.protocol().family();
    if (family != AF_INET && family != AF_INET6)
        return Address();
    asio::ip::tcp::endpoint endpoint;
    std::memcpy(endpoint.data(), peer.data(), std::min(peer.size(), endpoint.capacity()));
    return Address(endpoint.address());
}

Stream::Stream(Socket socket, const Address &peer, std::shared_ptr<Tls> tls)
    : socket_(std::move(socket))
    , peer_(peer)
    , context_(std::move(tls))
    , tls_(context_ ? context_->begin(socket_.native_handle()) : nullptr)
{}

Stream::~Stream()
{
    if (tls_ && talking_)
        SSL_shutdown(tls_.get());
}

Awaitable<bool> Stream::handshake()
{
    auto step = tls_ ? HandshakeStep::Read : HandshakeStep::Done;
    while (step == HandshakeStep::Read || step == HandshakeStep::Write) {
        const auto direction = step == HandshakeStep::Read ? Socket::wait_read : Socket::wait_write;
        const auto [failure] = co_await socket_.async_wait(direction, awaitedWithError);
        if (failure)
            co_return false;
        step = co_await calculate(context_->worker(), tls_.get());
    }
    context_.reset();
    talking_ = tls_ && step == HandshakeStep::Done;
    if (step == HandshakeStep::Plain)
        sayThatTlsIsSpoken();
    co_return step == HandshakeStep::Done;
}

void Stream::sayThatTlsIsSpoken()
{
    error_code ignored; // what cannot be sent at once is not worth waiting for
    socket_.write_some(asio::buffer(onlyTls), ignored);
    // Closing over an unread request would reset the connection and take the reply with it.
    std::array<char, 4096> request;
    socket_.read_some(asio::buffer(request), ignored);
}

Awaitable<Stream::Transfer> Stream::read(asio::mutable_buffer space)
{
    return tls_ ? readEncrypted(space) : socket_.async_read_some(space, awaitedWithError);
}

Awaitable<Stream::Transfer> Stream::readEncrypted(asio::mutable_buffer space)
{
    for (;;) {
        std::size_t count = 0;
        ERR_clear_error();
        const int result = SSL_read_ex(tls_.get(), space.data(), space.size(), &count);
        const error_code error = outcomeOf(result);
        if (error != asio::error::would_block)
            co_return Transfer(error, count);
        // A peer can ask for answers below the bytes, and not read them.
        const auto direction = SSL_want_write(tls_.get()) ? Socket::wait_write : Socket::wait_read;
        const auto [failure] = co_await socket_.async_wait(direction, awaitedWithError);
        if (failure)
            co_return Transfer(failure, 0);
    }
}

Stream::Transfer Stream::writeSome(std::string_view bytes)
{
    if (tls_)
        return writeEncrypted(bytes);
    error_code error;
    const std::size_t count = socket_.write_some(asio::buffer(bytes), error);
    return {error, count};
}

Stream::Transfer Stream::writeEncrypted(std::string_view bytes)
{
    std::size_t count = 0;
    ERR_clear_error();
    const int result = SSL_write_ex(tls_.get(), bytes.data(), bytes.size(), &count);
    return {outcomeOf(result), count};
}

error_code Stream::outcomeOf(int result)
{
    switch (SSL_get_error(tls_.get(), result)) {
    case SSL_ERROR_NONE:
        return {};
    case SSL_ERROR_WANT_READ:
    case SSL_ERROR_WANT_WRITE:
        return asio::error::would_block;
    case SSL_ERROR_ZERO_RETURN:
        return asio::error::eof;
    default:
        talking_ = false;
        return asio::error::connection_aborted;
    }
}

Awaitable<error_code> Stream::writable()
{
    const auto [error] = co_await socket_.async_wait(Socket::wait_write, awaitedWithError);
    co_return error;
}

void Stream::whenReadable(std::function<void(error_code)> then)
{
    socket_.async_wait(Socket::wait_read, std::move(then));
}

Stream::Peer Stream::look()
{
    char byte = 0;
    bool nothing = false;
    bool something = false;
    if (tls_) {
        ERR_clear_error();
        const int result = SSL_peek(tls_.get(), &byte, 1);
        something = result > 0;
        nothing = outcomeOf(result) == asio::error::would_block && !SSL_want_write(tls_.get());
    } else {
        const ssize_t count = ::recv(socket_.native_handle(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
        something = count > 0;
        nothing = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    }
    if (something)
        return Peer::Speaking;
    return nothing ? Peer::Silent : Peer::Gone;
}

void Stream::endWriting()
{
    error_code ignored; // a connection that is already gone
    if (talking_)
        SSL_shutdown(tls_.get());
    talking_ = false;
    socket_.shutdown(Socket::shutdown_send, ignored);
}

Awaitable<Stream::Transfer> Stream::discard(asio::mutable_buffer space)
{
    return socket_.async_read_some(space, awaitedWithError);
}

void Stream::cancel()
{
    error_code ignored; // a connection that is already gone
    socket_.cancel(ignored);
}

void Stream::abort()
{
    error_code ignored; // a connection that is already gone
    talking_ = false;
    socket_.shutdown(Socket::shutdown_both, ignored);
    socket_.cancel(ignored);
}

} // namespace kivolo::server::http
