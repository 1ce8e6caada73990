#include "command.h"
#include "http/listening.h"
#include "http/proxies.h"
#include "http/tls.h"
#include "ledger/upkeep.h"
#include "routes/site.h"

#include <CLI/App.hpp>
#include <filesystem>
#include <iostream>
#include <unistd.h>

namespace kivolo::server {

namespace {

void requireFolder(const std::string &folder)
{
    if (::access(folder.c_str(), W_OK | X_OK) != 0 || !std::filesystem::is_directory(folder))
        throw std::runtime_error("nothing can be written into the folder " + folder);
}

void check(const Options &options)
{
    for (const std::string &address : options.listen)
        http::checkAddress(address);
    if (options.operatorListen != nowhere)
        http::checkAddress(options.operatorListen);
    http::Proxies proxies;
    for (const std::string &net : options.trustedProxies)
        proxies.trust(net);
    if (!options.tlsCertificate.empty())
        http::checkCertificate(options.tlsCertificate, options.tlsKey);
    Site site = options.site.empty() ? Site() : Site(options.site, options.downloads);
    minimumOf(options, site);
    if (!options.backupDirectory.empty())
        requireFolder(options.backupDirectory);
    // The folder of the usual one is made where needed.
    const std::string database = databaseOf(options);
    if (!options.database.empty() ||
        std::filesystem::exists(database.substr(database.find(':') + 1)))
        checkDatabase(database);
    std::cout << "the settings can be used" << std::endl;
}

} // namespace

void addCheck(CLI::App &app, const Options &options, Action &action)
{
    addCommand(app, "check", "Says whether the server could start with these settings")
        .callback([&] { action = [&options] { check(options); }; });
}

} // namespace kivolo::server
