#include "command.h"
#include "ledger/upkeep.h"

#include <CLI/App.hpp>
#include <chrono>
#include <iostream>
#include <memory>

namespace kivolo::server {

namespace {

Seconds secondsNow()
{
    return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now())
        .time_since_epoch()
        .count();
}

void restore(const Options &options, const std::string &from)
{
    const std::string database = openableDatabase(options);
    const std::string kept = restoreDatabase(database, from, secondsNow());
    std::cout << "restored " << database << std::endl;
    if (!kept.empty())
        std::cout << "what was there before is kept as " << kept << std::endl;
}

} // namespace

void addBackup(CLI::App &app, const Options &options, Action &action)
{
    CLI::App &command =
        addCommand(app, "backup", "Copies the database to a file, also while a server uses it");
    const auto file = std::make_shared<std::string>();
    command.add_option("FILE", *file, "A file that is not there yet")->required();
    command.callback(
        [&, file] { action = [&options, file] { backUpDatabase(databaseOf(options), *file); }; });
}

void addRestore(CLI::App &app, const Options &options, Action &action)
{
    CLI::App &command =
        addCommand(app, "restore", "Puts a backup in the place of the database; no server may run");
    const auto file = std::make_shared<std::string>();
    command.add_option("FILE", *file, "What backup has made")->required();
    command.callback([&, file] { action = [&options, file] { restore(options, *file); }; });
}

void addAdvance(CLI::App &app, const Options &options, Action &action)
{
    addCommand(app, "advance",
               "To be done after a database was put back by other means than restore: has circles"
               " go on an hour ahead, so that nobody misses anything; no server may run")
        .callback(
            [&] { action = [&options] { advanceTicks(databaseOf(options), secondsNow()); }; });
}

} // namespace kivolo::server
