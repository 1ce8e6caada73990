#include "listening.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <charconv>
#include <cstring>
#include <set>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

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
std::vector<Listening> openAll(asio::io_context &context, const std::set<tcp::endpoint> &endpoints)
{
    std::vector<Listening> all;
    error_code missing;
    for (tcp::endpoint endpoint : endpoints) {
        if (!all.empty())
            endpoint.port(portOf(all.front().acceptor));
        try {
            all.push_back({acceptorFor(context, endpoint), {}});
        } catch (const boost::system::system_error &error) {
            // "localhost" may have an address of a family that this machine does without.
            missing = error.code();
            if (missing != boost::system::errc::address_not_available &&
                missing != boost::system::errc::address_family_not_supported)
                throw;
        }
    }
    if (all.empty())
        throw boost::system::system_error(missing);
    return all;
}

using Local = asio::local::stream_protocol;

/// Whether somebody listens there.
bool isInUse(const Local::endpoint &endpoint)
{
    asio::io_context context;
    Local::socket socket(context);
    error_code error;
    socket.open(Local(), error);
    socket.non_blocking(true, error); // one with a full queue would keep this waiting
    socket.connect(endpoint, error);
    return error != asio::error::connection_refused;
}

void removeStale(const std::string &path)
{
    struct stat file = {};
    if (::lstat(path.c_str(), &file) != 0)
        return;
    if (!S_ISSOCK(file.st_mode))
        throw std::runtime_error("cannot listen on unix:" + path +
                                 ": there is a file that is no socket");
    if (isInUse(Local::endpoint(path)))
        throw std::runtime_error("cannot listen on unix:" + path +
                                 ": another program listens there already");
    ::unlink(path.c_str()); // where that fails, so does binding, and says why
}

constexpr std::string_view local = "unix:";

std::string localPath(const std::string &address)
{
    if (address.size() == local.size())
        throw std::runtime_error("a Unix socket to listen on has to be given as unix:PATH");
    return address.substr(local.size());
}

Listening openLocal(asio::io_context &context, const std::string &path)
{
    const Local::endpoint endpoint(path);
    removeStale(path);
    Acceptor acceptor(context, asio::generic::stream_protocol(endpoint.protocol()));
    acceptor.bind(endpoint);
    SocketFile file(path);
    // Who may connect is decided by the group of the process and by the folder.
    if (::chmod(path.c_str(), 0660) != 0)
        throw boost::system::system_error(errno, boost::system::system_category());
    acceptor.listen();
    return {std::move(acceptor), std::move(file)};
}

Listenings openHostAndPort(asio::io_context &context, const std::string &address)
{
    const HostAndPort parts = split(address);
    const std::uint16_t port = portNumber(parts.port);
    Listenings listenings;
    listenings.all = openAll(context, endpointsOf(parts.host, port));
    listenings.address = address.substr(0, address.size() - parts.port.size()) +
                         std::to_string(portOf(listenings.all.front().acceptor));
    return listenings;
}

} // namespace

SocketFile::SocketFile(std::string path)
    : path_(std::move(path))
{
    struct stat file = {};
    if (::stat(path_.c_str(), &file) == 0) {
        device_ = file.st_dev;
        inode_ = file.st_ino;
    }
}

SocketFile::SocketFile(SocketFile &&other) noexcept
    : path_(std::exchange(other.path_, {}))
    , device_(other.device_)
    , inode_(other.inode_)
{}

SocketFile &SocketFile::operator=(SocketFile &&other) noexcept
{
    std::swap(path_, other.path_);
    std::swap(device_, other.device_);
    std::swap(inode_, other.inode_);
    return *this;
}

SocketFile::~SocketFile()
{
    struct stat file = {};
    if (!path_.empty() && ::stat(path_.c_str(), &file) == 0 && file.st_dev == device_ &&
        file.st_ino == inode_)
        ::unlink(path_.c_str());
}

void checkAddress(const std::string &address)
{
    if (address == inherited)
        return;
    try {
        if (address.starts_with(local))
            Local::endpoint(localPath(address));
        else {
            const HostAndPort parts = split(address);
            endpointsOf(parts.host, portNumber(parts.port));
        }
    } catch (const boost::system::system_error &error) {
        throw std::runtime_error("cannot listen on " + address + ": " + error.code().message());
    }
}

Listenings listenOn(asio::io_context &context, const std::string &address)
{
    try {
        if (!address.starts_with(local))
            return openHostAndPort(context, address);
        Listenings listenings{address, {}, true};
        listenings.all.push_back(openLocal(context, localPath(address)));
        return listenings;
    } catch (const boost::system::system_error &error) {
        throw std::runtime_error("cannot listen on " + address + ": " + error.code().message());
    }
}

} // namespace kivolo::server::http
