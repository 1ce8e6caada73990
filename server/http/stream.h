// The bytes of one connection.
#pragma once

#include "address.h"
#include "loop.h"
#include "tls.h"

#include <functional>
#include <optional>
#include <string_view>
#include <tuple>

namespace kivolo::server::http {

/// Who is at the other end; nothing where that is gone already.
std::optional<Address> peerOf(const Socket &socket);

/// A connected stream socket of any family, perhaps with TLS on it. On the thread of the loop.
///
/// TLS is spoken on the socket itself, and its buffers are there only while bytes are on their way:
/// what a connection that waits keeps of it is some kilobytes.
class Stream
{
public:
    using Transfer = std::tuple<error_code, std::size_t>;
    enum class Peer { Silent, Speaking, Gone };

    /// Speaks TLS where that is given, once the handshake is done. Throws std::bad_alloc.
    Stream(Socket socket, const Address &peer, std::shared_ptr<Tls> tls);
    Stream(Stream &&) = default;
    Stream &operator=(Stream &&) = delete;
    ~Stream();

    const Address &peer() const { return peer_; }
    /// Whether TLS is spoken.
    bool encrypted() const { return tls_ != nullptr; }
    Executor executor() { return socket_.get_executor(); }

    /// Before everything else. False: nothing more can be done with the peer.
    Awaitable<bool> handshake();
    /// Waits for some bytes; an error is told where the peer has ended too.
    Awaitable<Transfer> read(asio::mutable_buffer space);
    /// Writes as much as there is room for now; the error is would_block where that is nothing.
    Transfer writeSome(std::string_view bytes);
    /// Waits until there may be room again.
    Awaitable<error_code> writable();

    /// Waits until look() may tell something new.
    void whenReadable(std::function<void(error_code)> then);
    /// What the peer does, without taking any of it. It counts as gone too where it asks for
    /// answers below the bytes and reads none.
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
    void sayThatTlsIsSpoken();
    Awaitable<Transfer> readEncrypted(asio::mutable_buffer space);
    Transfer writeEncrypted(std::string_view bytes);
    /// What a call of the library's is to come to; having failed, nothing more is done with it.
    error_code outcomeOf(int result);

    Socket socket_;
    Address peer_;
    std::shared_ptr<Tls> context_; ///< Until the handshake is done.
    std::unique_ptr<SSL, FreeTls> tls_;
    bool talking_ = false; ///< In TLS.
};

} // namespace kivolo::server::http
