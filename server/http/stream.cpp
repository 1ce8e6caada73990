#include "stream.h"

#include <algorithm>
#include <boost/asio/ip/tcp.hpp>
#include <cstring>
#include <sys/socket.h>

namespace kivolo::server::http {

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

Stream::Stream(Socket socket, const Address &peer)
    : socket_(std::move(socket))
    , peer_(peer)
{}

Awaitable<Stream::Transfer> Stream::read(asio::mutable_buffer space)
{
    return socket_.async_read_some(space, awaitedWithError);
}

Stream::Transfer Stream::writeSome(std::string_view bytes)
{
    error_code error;
    const std::size_t count = socket_.write_some(asio::buffer(bytes), error);
    return {error, count};
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
    const ssize_t count = ::recv(socket_.native_handle(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    if (count > 0)
        return Peer::Speaking;
    const bool nothing = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    return nothing ? Peer::Silent : Peer::Gone;
}

void Stream::endWriting()
{
    error_code ignored; // a connection that is already gone
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
    socket_.shutdown(Socket::shutdown_both, ignored);
    socket_.cancel(ignored);
}

} // namespace kivolo::server::http
