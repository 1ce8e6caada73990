#include "command.h"

#include "build.h"

#include <CLI/CLI.hpp>

namespace kivolo::server {

CLI::App &addCommand(CLI::App &app, const char *name, const char *meaning)
{
    CLI::App &command = *app.add_subcommand(name, meaning);
    command.fallthrough();
    command.configurable(false);
    return command;
}

Minimum minimumOf(const Options &options, Site &site)
{
    const std::string_view built(build);
    Minimum minimum{options.minVersion, options.updateUrl};
    requireWithinReach(minimum, site, built.substr(0, built.find(' ')));
    return minimum;
}

} // namespace kivolo::server
