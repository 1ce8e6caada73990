// What the operator settles.
#pragma once

#include "rules/quotas.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace kivolo::server {

/// The site that is installed with the program, or nothing where none is.
std::string installedSite();

/// In place of an address for the operator.
constexpr std::string_view nowhere = "none";

struct Options
{
    std::vector<std::string> listen{"127.0.0.1:8787"};
    std::string operatorListen{"127.0.0.1:9787"}; ///< "none": nowhere.
    bool operatorListenGiven = false;
    std::string tlsCertificate; ///< Empty: no TLS.
    std::string tlsKey;
    std::string database; ///< Empty: the file under the user's data directory.
    std::vector<std::string> trustedProxies;
    std::string site = installedSite(); ///< Empty: no files are served.
    std::string downloads;              ///< Empty: `downloads` in the site.
    std::string backupDirectory;        ///< Empty: none are made by themselves.
    double backupEvery = 24;            ///< Hours.
    int backupKeep = 7;
    int keep = 0;             ///< Days; 0: for good.
    int abandonedAfter = 365; ///< Days; 0: never.
    std::int64_t maxSeats = 5;
    std::string whoMayCreate{"anyone"}; ///< Or "nobody".
    std::string minVersion;             ///< Empty: every program is served.
    std::string updateUrl;
    int hold = 25;     ///< Seconds.
    int idleSeat = 30; ///< Days.
    Quotas::Limits quotas;
    std::size_t connections = 0; ///< 0: as many as the memory is enough for.
    std::size_t connectionsPerAddress = 256;
    double rates = 1;         ///< How many times the usual an address may do.
    std::size_t memory = 240; ///< MiB.
};

/// Has the app read the settings: from the command line, where that says nothing from the
/// environment (`--max-seats` is KIVOLO_MAX_SEATS), and else from the file that --config names.
void addSettings(CLI::App &app, Options &options);

/// The database that was named, else the file under the XDG data directory. Throws
/// std::runtime_error where there is no such directory.
std::string databaseOf(const Options &options);

/// The same, with the folder of the usual one made where needed. The one that is named has to lie
/// where somebody made a place for it. Throws std::runtime_error.
std::string openableDatabase(const Options &options);

} // namespace kivolo::server
