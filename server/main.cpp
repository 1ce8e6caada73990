#include "http/server.h"
#include "log.h"
#include "memory.h"
#include "options.h"
#include "routes/routes.h"

#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/thread_pool.hpp>
#include <csignal>
#include <iostream>
#include <spdlog/spdlog.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace kivolo::server {
namespace {

// Every connection takes a descriptor, and one more while it is sent a file of the site; the
// database needs some as well. The usual soft limit is below that.
std::size_t connectionsWithinDescriptors(const Options &options, std::size_t wanted)
{
    constexpr rlim_t reserve = 64;
    const rlim_t each = options.site.empty() ? 1 : 2;
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return wanted;
    limit.rlim_cur = limit.rlim_max;
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0 && getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return wanted;
    const rlim_t room = limit.rlim_cur > reserve ? (limit.rlim_cur - reserve) / each : 1;
    if (room >= wanted)
        return wanted;
    spdlog::warn("the limit on open files leaves room for {} connections only", room);
    return room;
}

http::Proxies proxiesOf(const Options &options)
{
    http::Proxies proxies;
    for (const std::string &net : options.trustedProxies)
        proxies.trust(net);
    return proxies;
}

void reloadCertificate(http::Server &server)
{
    try {
        server.reloadCertificate();
        spdlog::info("the certificate was read anew");
    } catch (const std::exception &error) {
        spdlog::error("{}; the certificate that was read before stays in use", error.what());
    }
}

void followSignals(boost::asio::signal_set &signals, http::Server &server)
{
    signals.async_wait([&](boost::system::error_code error, int signal) {
        if (error)
            return;
        if (signal == SIGHUP) {
            reloadCertificate(server);
            followSignals(signals, server);
            return;
        }
        spdlog::info("stopping");
        server.stop();
    });
}

void serve(const Options &options)
{
    const std::string database = options.database.empty() ? defaultDatabase() : options.database;
    const MemoryPlan memory(options.memory << 20, !options.tlsCertificate.empty());
    const Clock clock = [] { return std::chrono::system_clock::now(); };
    // Outlives the connections, which the context holds.
    Holds holds(std::chrono::seconds(options.hold));
    // Outlives the ledger, which tells it of wrong guesses.
    Throttle throttle(Throttle::allowances(options.rates));
    // Outlives the ledger, whose last writes still hand their replies to it.
    boost::asio::io_context context(1);
    std::unique_ptr<Ledger> ledger =
        openLedger(database, clock, {.queueBytes = memory.received, .cacheBytes = memory.caches});
    const Site site = options.site.empty() ? Site() : Site(options.site);
    Circles::Settings settings;
    settings.maxSeats = options.maxSeats;
    settings.idleSeat = options.idleSeat * Seconds{86'400};
    settings.quotas = options.quotas;
    settings.calendar = steadyCalendar(clock);
    settings.historyBytes = static_cast<std::int64_t>(memory.largestReply);
    settings.pollBytes = std::min(settings.pollBytes, settings.historyBytes);
    Circles circles(*ledger, clock, systemRandomness, settings);
    circles.setObserver({[&](const Change &change) {
                             boost::asio::post(context,
                                               [&holds, change] { holds.announce(change); });
                         },
                         [&holds] { return holds.occupied(); }});
    boost::asio::thread_pool workers(1);
    Routes routes(circles, holds, throttle, site, [&workers](std::function<void()> work) {
        boost::asio::post(workers, std::move(work));
    });
    http::Limits limits;
    limits.connections = connectionsWithinDescriptors(
        options, options.connections > 0 ? options.connections : memory.connections);
    limits.connectionsPerAddress = options.connectionsPerAddress;
    limits.allReceivedBytes = memory.received;
    limits.allRepliesBytes = memory.replies;
    http::Server server(
        context,
        [&routes](http::Request &request, http::Reply later) {
            return routes.handle(request, std::move(later));
        },
        limits, proxiesOf(options));

    boost::asio::signal_set signals(context, SIGTERM, SIGINT);
    if (!options.tlsCertificate.empty()) {
        server.encrypt(options.tlsCertificate, options.tlsKey);
        signals.add(SIGHUP);
    }
    followSignals(signals, server);
    for (const std::string &address : options.listen) {
        const std::string reachable = server.listen(address);
        std::cout << "listening on " << reachable << std::endl;
    }
    context.run();
    // What still waits is done while those are there who asked for it.
    workers.join();
    ledger.reset();
}

int run(int argc, char **argv)
{
    const std::variant<Options, int> parsed = parseOptions(argc, argv);
    if (const int *exitCode = std::get_if<int>(&parsed))
        return *exitCode;
    keepMemoryTight();
    openLog();
    std::signal(SIGPIPE, SIG_IGN);
    umask(077); // what members write is nobody else's on this machine
    try {
        serve(std::get<Options>(parsed));
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "kivolo-server: " << error.what() << std::endl;
        return 1;
    }
}

} // namespace
} // namespace kivolo::server

int main(int argc, char **argv)
{
    return kivolo::server::run(argc, argv);
}
