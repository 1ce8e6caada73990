#include "server.h"

#include "hub.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <charconv>
#include <cstring>
#include <set>

namespace kivolo::server::http {

using asio::ip::tcp;

namespace {

struct HostAndPort
{
    std::string host;
    std::string_view port;
};

HostAndPort split(const std::string &address)
{
    const std::size_t colon = address.rfind(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == address.size())
        throw std::runtime_error("the address to listen on has to be given as HOST:PORT");
    std::string host = address.substr(0, colon);
    if (host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    return {host, std::string_view(address).substr(colon + 1)};
}

std::uint16_t portNumber(std::string_view text)
{
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size())
        throw std::runtime_error("the port has to be a number from 0 to 65535");
    return port;
}

/// Each once: a name can stand for the same address several times.
std::set<tcp::endpoint> endpointsOf(const std::string &host, std::uint16_t port)
{
    asio::io_context lookup;
    tcp::resolver resolver(lookup);
    std::set<tcp::endpoint> endpoints;
    for (const auto &entry : resolver.resolve(host, std::to_string(port)))
        endpoints.insert(entry.endpoint());
    return endpoints;
}

Acceptor acceptorFor(asio::io_context &context, const tcp::endpoint &endpoint)
{
    Acceptor acceptor(context, asio::generic::stream_protocol(endpoint.protocol()));
    acceptor.set_option(Acceptor::reuse_address(true));
    // So that both families of one name or port can be listened on side by side.
    if (endpoint.protocol() == tcp::v6())
        acceptor.set_option(asio::ip::v6_only(true));
    acceptor.bind(endpoint);
    acceptor.listen();
    return acceptor;
}

std::uint16_t portOf(const Acceptor &acceptor)
{
    tcp::endpoint endpoint;
    const auto generic = acceptor.local_endpoint();
    std::memcpy(endpoint.data(), generic.data(), std::min(generic.size(), endpoint.capacity()));
    return endpoint.port();
}

/// Where the port is 0, the one that the first address got serves for all.
std::vector<Acceptor> openAll(asio::io_context &context, const std::set<tcp::endpoint> &endpoints)
{
    std::vector<Acceptor> acceptors;
    error_code missing;
    for (tcp::endpoint endpoint : endpoints) {
        if (!acceptors.empty())
            endpoint.port(portOf(acceptors.front()));
        try {
            acceptors.push_back(acceptorFor(context, endpoint));
        } catch (const boost::system::system_error &error) {
            // "localhost" may have an address of a family that this machine does without.
            missing = error.code();
            if (missing != boost::system::errc::address_not_available &&
                missing != boost::system::errc::address_family_not_supported)
                throw;
        }
    }
    if (acceptors.empty())
        throw boost::system::system_error(missing);
    return acceptors;
}

} // namespace

Server::Server(asio::io_context &context, Handler handler, Limits limits, Proxies proxies)
    : context_(context)
    , hub_(std::make_shared<Hub>(context, std::move(handler), limits, std::move(proxies)))
{}

Server::~Server() = default;

std::string Server::listen(const std::string &address)
{
    const HostAndPort parts = split(address);
    const std::uint16_t port = portNumber(parts.port);
    try {
        std::vector<Acceptor> acceptors = openAll(context_, endpointsOf(parts.host, port));
        const std::uint16_t real = portOf(acceptors.front());
        for (Acceptor &acceptor : acceptors)
            hub_->serve(std::move(acceptor));
        return address.substr(0, address.size() - parts.port.size()) + std::to_string(real);
    } catch (const boost::system::system_error &error) {
        throw std::runtime_error("cannot listen on " + address + ": " + error.code().message());
    }
}

void Server::stop()
{
    hub_->stop();
}

} // namespace kivolo::server::http
