#include "server.h"

#include "hub.h"

#include <charconv>

namespace kivolo::server::http {

namespace {

struct Address
{
    std::string host;
    std::string_view port;
};

Address split(const std::string &address)
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

} // namespace

Server::Server(boost::asio::io_context &context, Handler handler, Limits limits)
    : hub_(std::make_shared<Hub>(context, std::move(handler), limits))
{}

Server::~Server() = default;

std::string Server::listen(const std::string &address)
{
    const Address parts = split(address);
    const std::uint16_t port = portNumber(parts.port);
    try {
        boost::asio::io_context lookup;
        boost::asio::ip::tcp::resolver resolver(lookup);
        const auto found = resolver.resolve(parts.host, std::to_string(port));
        hub_->open(*found.begin());
    } catch (const boost::system::system_error &error) {
        throw std::runtime_error("cannot listen on " + address + ": " + error.code().message());
    }
    return address.substr(0, address.size() - parts.port.size()) + std::to_string(hub_->port());
}

void Server::stop()
{
    hub_->stop();
}

} // namespace kivolo::server::http
