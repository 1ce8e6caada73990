// HTTP/1.1 on a listening socket: connections, their limits and their deadlines.
#pragma once

#include "message.h"
#include "proxies.h"

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace kivolo::server::http {

/// What a connection may cost. Deadlines are as exact as `tick`.
struct Limits
{
    std::chrono::milliseconds tick{1'000};
    std::chrono::milliseconds idle{75'000};   ///< Between requests; clients ask every 2 seconds.
    std::chrono::milliseconds header{10'000}; ///< From a request's first byte.
    /// By how much a body and the reading of a reply may be behind bytesPerSecond.
    std::chrono::milliseconds body{15'000};
    std::chrono::milliseconds reply{30'000};
    /// For an answer, so that one that got lost does not hold its connection. Capsules and a busy
    /// disk take up to half of it.
    std::chrono::milliseconds answer{60'000};
    std::chrono::milliseconds grace{5'000}; ///< For requests under way when the server stops.
    /// Over which the answers to held requests are spread when the server stops; within the grace.
    std::chrono::milliseconds spread{2'000};
    std::size_t bytesPerSecond = 16 << 10; ///< Half of what a slow mobile line takes.
    std::uint32_t headerBytes = 16 << 10;
    /// A doodle of 2 MiB in JSON, even where every '/' of its Base64 is escaped.
    std::uint64_t bodyBytes = (4 << 20) + (64 << 10);
    std::size_t connections = 4'096;
    /// A company of a hundred behind one address does not notice.
    std::size_t connectionsPerAddress = 256;
    /// Of all requests, as far as they have come, until they are answered.
    std::size_t allReceivedBytes = 64 << 20;
    /// Of all replies that are being written.
    std::size_t allRepliesBytes = 256 << 20;
};

class Hub;
struct Listenings;
class Tls;

/// Lives on one thread, the one that runs the context. Its connections keep what they need of it
/// alive by themselves.
class Server
{
public:
    Server(
        boost::asio::io_context &context, Handler handler, Limits limits, Proxies proxies = {},
        Watcher watcher = [](const Served &) {});
    ~Server();

    /// Speaks TLS on every address but Unix sockets that it listens on from now on. Throws
    /// std::runtime_error with a sentence for the operator, as do the following.
    void encrypt(const std::string &certificateFile, const std::string &keyFile);
    /// Reads those files anew, for the connections to come.
    void reloadCertificate();

    /// Begins to accept on HOST:PORT or unix:PATH, see listenOn(), or "systemd", see
    /// inheritedListenings(). May be called several times. Returns what to connect to, as in
    /// https://HOST:PORT, with the real port.
    std::string listen(const std::string &address);

    /// How many there are now.
    std::size_t connections() const;

    /// Accepts nothing more, closes what is idle and lets the rest finish within the grace time.
    /// The context runs out of work when that is done.
    void stop();

private:
    std::string serve(Listenings listenings);

    boost::asio::io_context &context_;
    std::shared_ptr<Hub> hub_;
    std::shared_ptr<Tls> tls_;
};

} // namespace kivolo::server::http
