// The bytes of one connection.
#pragma once

#include "address.h"
#include "loop.h"

#include <functional>
#include <optional>
#include <string_view>
#include <tuple>

namespace kivolo::server::http {

/// Who is at the other end; nothing where that is gone already.
std::optional<Address> peerOf(const Socket &socket);

/// A connected stream socket of any family. On the thread of the loop.
class Stream
{
public:
    using Transfer = std::tuple<error_code, std::size_t>;
    enum class Peer { Silent, Speaking, Gone };

    Stream(Socket socket, const Address &peer);

    const Address &peer() const { return peer_; }
    Executor executor() { return socket_.get_executor(); }

    /// Waits for some bytes; an error is told where the peer has ended too.
    Awaitable<Transfer> read(asio::mutable_buffer space);
    /// Writes as much as there is room for now; the error is would_block where that is nothing.
    Transfer writeSome(std::string_view bytes);
    /// Waits until there may be room again.
    Awaitable<error_code> writable();

    /// Waits until look() may tell something new.
    void whenReadable(std::function<void(error_code)> then);
    /// What the peer does, without taking any of it.
    Peer look();

    /// Tells the peer that nothing more will come.
    void endWriting();
    /// Waits for bytes that nobody wants.
    Awaitable<Transfer> discard(asio::mutable_buffer space);

    /// Ends what is being waited for with an error.
    void cancel();
    /// Ends everything; the descriptor stays until this is destroyed.
    void abort();

private:
    Socket socket_;
    Address peer_;
};

} // namespace kivolo::server::http
