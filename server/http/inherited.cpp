#include "inherited.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace kivolo::server::http {

namespace {

constexpr int firstDescriptor = 3;

/// 0 where there is none.
int numberIn(const char *variable)
{
    // Before any thread is started, so the environment stands still.
    const char *value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe)
    int number = 0;
    if (value)
        std::from_chars(value, value + std::strlen(value), number);
    return number;
}

bool listens(int descriptor)
{
    int value = 0;
    socklen_t size = sizeof value;
    const auto has = [&](int option, int wanted) {
        return getsockopt(descriptor, SOL_SOCKET, option, &value, &size) == 0 && value == wanted;
    };
    return has(SO_TYPE, SOCK_STREAM) && has(SO_ACCEPTCONN, 1);
}

template<typename Endpoint>
std::string textOf(const asio::generic::stream_protocol::endpoint &generic)
{
    Endpoint endpoint;
    std::memcpy(endpoint.data(), generic.data(), std::min(generic.size(), endpoint.capacity()));
    endpoint.resize(generic.size());
    std::ostringstream text;
    text << endpoint;
    return text.str();
}

Listenings listeningsOf(asio::io_context &context, int descriptor)
{
    sockaddr_storage address = {};
    socklen_t size = sizeof address;
    if (getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &size) != 0 ||
        !listens(descriptor))
        throw std::runtime_error("one of the sockets from systemd is none that listens "
                                 "(ListenStream=, Accept=no)");
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    const bool local = address.ss_family == AF_UNIX;
    const asio::generic::stream_protocol protocol(address.ss_family, local ? 0 : IPPROTO_TCP);
    Listenings listenings{{}, {}, local};
    listenings.all.push_back({Acceptor(context, protocol, descriptor), {}});
    const auto endpoint = listenings.all.front().acceptor.local_endpoint();
    listenings.address = local ? "unix:" + textOf<asio::local::stream_protocol::endpoint>(endpoint)
                               : textOf<asio::ip::tcp::endpoint>(endpoint);
    return listenings;
}

} // namespace

std::vector<Listenings> inheritedListenings(asio::io_context &context)
{
    const int count = numberIn("LISTEN_PID") == getpid() ? numberIn("LISTEN_FDS") : 0;
    if (count <= 0)
        throw std::runtime_error("cannot listen on systemd: it gave this process no sockets; is "
                                 "there a socket unit that is started?");
    std::vector<Listenings> all;
    for (int descriptor = firstDescriptor; descriptor < firstDescriptor + count; ++descriptor)
        all.push_back(listeningsOf(context, descriptor));
    return all;
}

} // namespace kivolo::server::http
