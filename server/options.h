// The command line.
#pragma once

#include "rules/quotas.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace kivolo::server {

struct Options
{
    std::vector<std::string> listen{"127.0.0.1:8787"};
    std::string tlsCertificate; ///< Empty: no TLS.
    std::string tlsKey;
    std::string database; ///< Empty: the file under the user's data directory.
    std::vector<std::string> trustedProxies;
    std::string site; ///< Empty: no files are served.
    std::int64_t maxSeats = 5;
    int hold = 25;     ///< Seconds.
    int idleSeat = 30; ///< Days.
    Quotas::Limits quotas;
    std::size_t connections = 0; ///< 0: as many as the memory is enough for.
    std::size_t connectionsPerAddress = 256;
    double rates = 1;         ///< How many times the usual an address may do.
    std::size_t memory = 240; ///< MiB.
};

/// The options, or the exit code where the program has said all there is to say (help, version,
/// a mistake).
std::variant<Options, int> parseOptions(int argc, char **argv);

/// The database under the XDG data directory, whose folder is created where needed. Throws
/// std::runtime_error where there is no such directory.
std::string defaultDatabase();

} // namespace kivolo::server
