#include "command.h"

#include <CLI/CLI.hpp>

namespace kivolo::server {

CLI::App &addCommand(CLI::App &app, const char *name, const char *meaning)
{
    CLI::App &command = *app.add_subcommand(name, meaning);
    command.fallthrough();
    command.configurable(false);
    return command;
}

} // namespace kivolo::server
