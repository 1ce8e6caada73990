#include "supervisor.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/datagram_protocol.hpp>
#include <cstdlib>
#include <string>

namespace kivolo::server {

namespace {

std::string supervisorsSocket()
{
    // Nothing changes the environment.
    const char *path = std::getenv("NOTIFY_SOCKET"); // NOLINT(concurrency-mt-unsafe)
    return path ? path : "";
}

} // namespace

bool isSupervised()
{
    return !supervisorsSocket().empty();
}

void tellSupervisor(std::string_view state)
{
    using Datagrams = boost::asio::local::datagram_protocol;
    std::string path = supervisorsSocket();
    if (path.empty())
        return;
    if (path.front() == '@')
        path.front() = '\0'; // a name without a file
    boost::asio::io_context context;
    Datagrams::socket socket(context, Datagrams());
    boost::system::error_code error;
    socket.send_to(boost::asio::buffer(state), Datagrams::endpoint(path), 0, error);
}

} // namespace kivolo::server
