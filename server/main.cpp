#include "build.h"
#include "commands/command.h"
#include "log.h"
#include "memory.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <iostream>
#include <sys/stat.h>

namespace kivolo::server {
namespace {

int run(int argc, char **argv)
{
    Options options;
    Action action = [&options] { serve(options); };
    CLI::App app("Delivers the beams of Kivolo's circles.", "kivolo-server");
    app.set_version_flag("--version", std::string("kivolo-server ") + build);
    app.require_subcommand(0, 1);
    try {
        addSettings(app, options);
        addCheck(app, options, action);
        addCreateCircle(app, options, action);
        addMove(app, action);
        addAdministration(app, options, action);
        addBackup(app, options, action);
        addRestore(app, options, action);
        addAdvance(app, options, action);
        app.parse(argc, argv);
    } catch (const CLI::Success &success) {
        return app.exit(success);
    } catch (const CLI::ParseError &error) {
        std::cerr << "kivolo-server: " << error.what() << std::endl;
        return 2;
    }
    keepMemoryTight();
    openLog();
    std::signal(SIGPIPE, SIG_IGN);
    umask(077); // what members write is nobody else's on this machine
    try {
        action();
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
