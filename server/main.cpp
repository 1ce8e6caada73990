#include "http/server.h"
#include "options.h"
#include "routes.h"

#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <iostream>
#include <spdlog/cfg/env.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace kivolo::server {
namespace {

// Every connection takes a descriptor, and the usual soft limit is below the connections' own.
void raiseDescriptorLimit()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0)
        spdlog::warn("the limit on open files stays as it is");
}

void serve(const Options &options)
{
    const std::string database = options.database.empty() ? defaultDatabase() : options.database;
    const Clock clock = [] { return std::chrono::system_clock::now(); };
    // Outlives the ledger, whose last writes still hand their replies to it.
    boost::asio::io_context context(1);
    const std::unique_ptr<Ledger> ledger = openLedger(database, clock);
    const Site site = options.site.empty() ? Site() : Site(options.site);
    Circles::Settings settings;
    settings.maxSeats = options.maxSeats;
    Circles circles(*ledger, clock, systemRandomness, settings);
    Routes routes(circles, site);
    http::Server server(
        context,
        [&routes](const http::Request &request, http::Reply later) {
            return routes.handle(request, std::move(later));
        },
        http::Limits());

    boost::asio::signal_set signals(context, SIGTERM, SIGINT);
    signals.async_wait([&server](boost::system::error_code error, int) {
        if (error)
            return;
        spdlog::info("stopping");
        server.stop();
    });
    const std::string address = server.listen(options.listen);
    std::cout << "listening on http://" << address << std::endl;
    context.run();
}

int run(int argc, char **argv)
{
    const std::variant<Options, int> parsed = parseOptions(argc, argv);
    if (const int *exitCode = std::get_if<int>(&parsed))
        return *exitCode;
    spdlog::set_default_logger(spdlog::stderr_color_mt("kivolo-server"));
    spdlog::cfg::load_env_levels(); // SPDLOG_LEVEL=debug shows every request's path and status
    std::signal(SIGPIPE, SIG_IGN);
    umask(077); // what members write is nobody else's on this machine
    raiseDescriptorLimit();
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
