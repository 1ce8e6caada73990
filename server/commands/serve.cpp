#include "build.h"
#include "command.h"
#include "http/server.h"
#include "memory.h"
#include "operation/backups.h"
#include "operation/desk.h"
#include "operation/metrics.h"
#include "operation/sweeper.h"
#include "routes/routes.h"
#include "supervisor.h"

#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/thread_pool.hpp>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <prometheus/metric_family.h>
#include <spdlog/spdlog.h>
#include <sys/resource.h>

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

Circles::Settings rulesOf(const Options &options, const MemoryPlan &memory, const Clock &clock)
{
    Circles::Settings settings;
    settings.maxSeats = options.maxSeats;
    settings.closed = options.whoMayCreate == "nobody";
    settings.idleSeat = options.idleSeat * Seconds{86'400};
    settings.quotas = options.quotas;
    settings.calendar = steadyCalendar(clock);
    settings.historyBytes = static_cast<std::int64_t>(memory.largestReply);
    settings.pollBytes = std::min(settings.pollBytes, settings.historyBytes);
    return settings;
}

http::Limits limitsOf(const Options &options, const MemoryPlan &memory)
{
    http::Limits limits;
    limits.connections = connectionsWithinDescriptors(
        options, options.connections > 0 ? options.connections : memory.connections);
    limits.connectionsPerAddress = options.connectionsPerAddress;
    limits.allReceivedBytes = memory.received;
    limits.allRepliesBytes = memory.replies;
    return limits;
}

// Kept out of what members have at their disposal: a crowd of theirs is when it is asked.
http::Limits limitsForOperator()
{
    http::Limits limits;
    limits.bodyBytes = 0;
    limits.connections = 16;
    limits.connectionsPerAddress = 16;
    limits.allReceivedBytes = 1 << 20;
    limits.allRepliesBytes = 4 << 20;
    return limits;
}

/// All that serves, from the database to the sockets. What stands further up outlives what stands
/// below it.
class Service
{
public:
    explicit Service(const Options &options);
    /// Until a signal ends it.
    void run();

private:
    void listen();
    void listenForOperator();
    std::string metrics(const Room &room) const;
    void followSignals();
    void reloadCertificate();

    const Options &options_;
    const MemoryPlan memory_;
    const Clock clock_ = [] { return std::chrono::system_clock::now(); };
    Holds holds_;
    Throttle throttle_;
    boost::asio::io_context context_{
        1}; ///< The ledger's last writes still hand their replies to it.
    std::unique_ptr<Ledger> ledger_;
    Site site_;
    Circles circles_;
    boost::asio::thread_pool workers_{1};
    Routes routes_;
    Metrics metrics_;
    http::Server server_;
    Desk desk_;
    std::optional<Backups> backups_;
    std::optional<Sweeper> sweeper_;
    http::Server operator_;
    boost::asio::signal_set signals_;
};

Service::Service(const Options &options)
    : options_(options)
    , memory_(options.memory << 20, !options.tlsCertificate.empty())
    , holds_(std::chrono::seconds(options.hold))
    , throttle_(Throttle::allowances(options.rates))
    , ledger_(openLedger(openableDatabase(options), clock_,
                         {.queueBytes = memory_.received, .cacheBytes = memory_.caches}))
    , site_(options.site.empty() ? Site() : Site(options.site, options.downloads))
    , circles_(*ledger_, clock_, systemRandomness, rulesOf(options, memory_, clock_))
    , routes_(
          circles_, holds_, throttle_, site_,
          [this](std::function<void()> work) { boost::asio::post(workers_, std::move(work)); },
          minimumOf(options, site_))
    , server_(
          context_,
          [this](http::Request &request, http::Reply later) {
              return routes_.handle(request, std::move(later));
          },
          limitsOf(options, memory_), proxiesOf(options),
          [this](const http::Served &served) { metrics_.add(served); })
    , desk_({*ledger_, clock_, options.quotas.reserve,
             [this](const Room &room) { return metrics(room); }})
    , operator_(
          context_,
          [this](http::Request &request, http::Reply later) {
              return desk_.handle(request, std::move(later));
          },
          limitsForOperator())
    , signals_(context_, SIGTERM, SIGINT)
{
    circles_.setObserver(
        {[this](const Change &change) {
             desk_.saw(change.tick);
             boost::asio::post(context_, [this, change] { holds_.announce(change); });
         },
         [this] { return holds_.occupied(); },
         [this](auto answer) {
             boost::asio::post(context_,
                               [this, answer = std::move(answer)] { answer(holds_.waitedFor()); });
         }});
}

void Service::run()
{
    listen();
    if (!options_.backupDirectory.empty())
        backups_.emplace(databaseOf(options_), options_.backupDirectory,
                         std::chrono::duration<double, std::ratio<3'600>>(options_.backupEvery),
                         options_.backupKeep);
    constexpr Seconds day = 86'400;
    sweeper_.emplace(*ledger_, clock_, steadyCalendar(clock_),
                     Sweeper::Settings{options_.keep * day, options_.abandonedAfter * day});
    sweeper_->start();
    context_.run();
    sweeper_.reset();
    backups_.reset();
    // What still waits is done while those are there who asked for it.
    workers_.join();
    ledger_.reset();
}

void Service::listen()
{
    if (!options_.tlsCertificate.empty())
        server_.encrypt(options_.tlsCertificate, options_.tlsKey);
    // Where there is a terminal, its end is the server's; a service manager asks for what is new.
    if (!options_.tlsCertificate.empty() || isSupervised())
        signals_.add(SIGHUP);
    followSignals();
    for (const std::string &address : options_.listen) {
        const std::string bound = server_.listen(address);
        std::cout << "listening on " << bound << std::endl;
    }
    listenForOperator();
    tellSupervisor("READY=1");
}

// Several servers on one machine share the usual address, which nobody has asked for.
void Service::listenForOperator()
{
    if (options_.operatorListen == nowhere)
        return;
    try {
        const std::string address = operator_.listen(options_.operatorListen);
        std::cout << "for the operator on " << address << std::endl;
    } catch (const std::exception &error) {
        if (options_.operatorListenGiven)
            throw;
        spdlog::warn("health and metrics are told nowhere: {}", error.what());
    }
}

std::string Service::metrics(const Room &room) const
{
    const auto number = [](auto value) { return static_cast<double>(value); };
    std::vector<prometheus::MetricFamily> families;
    metrics_.tell(families);
    const Circles::Waits &reads = circles_.reads();
    const Circles::Waits &writes = circles_.writes();
    families.push_back(histogram("kivolo_database_wait_seconds",
                                 "Until the database began with what it was asked.", "kind",
                                 {{"read", &reads.begun}, {"write", &writes.begun}}));
    families.push_back(histogram("kivolo_database_seconds",
                                 "Until the database had done what it was asked.", "kind",
                                 {{"read", &reads.done}, {"write", &writes.done}}));
    families.push_back(
        gauge("kivolo_held_polls", "Polls that wait for a beam.", number(holds_.waiting())));
    families.push_back(gauge("kivolo_connections", "Connections of members' programs.",
                             number(server_.connections())));
    families.push_back(
        gauge("kivolo_database_bytes", "That the database takes.", number(room.used)));
    families.push_back(gauge("kivolo_disk_free_bytes", "That are left on the database's disk.",
                             number(room.free)));
    families.push_back(
        gauge("kivolo_resident_bytes", "Memory of the process.", number(residentBytes())));
    prometheus::MetricFamily version = gauge("kivolo_build_info", "Always 1.", 1);
    version.metric.front().label = {{"version", build}};
    families.push_back(std::move(version));
    return asText(families);
}

void Service::followSignals()
{
    signals_.async_wait([this](boost::system::error_code error, int signal) {
        if (error)
            return;
        if (signal == SIGHUP) {
            reloadCertificate();
            followSignals();
            return;
        }
        spdlog::info("stopping");
        tellSupervisor("STOPPING=1");
        server_.stop();
        operator_.stop();
    });
}

void Service::reloadCertificate()
{
    try {
        server_.reloadCertificate();
        spdlog::info("the certificate was read anew");
    } catch (const std::exception &error) {
        spdlog::error("{}; the certificate that was read before stays in use", error.what());
    }
}

} // namespace

void serve(const Options &options)
{
    Service(options).run();
}

} // namespace kivolo::server
