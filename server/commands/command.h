// What the program can be asked to do.
#pragma once

#include "options.h"
#include "routes/minimum.h"

#include <functional>

namespace kivolo::server {

/// Is done once everything that was given is understood. What it throws is one sentence for the
/// operator, and the program's failure.
using Action = std::function<void()>;

/// What is done where nothing else is asked for: serves until a signal ends it.
void serve(const Options &options);

// Each adds one subcommand, which becomes the action when it is given. `options` are those that the
// settings are read into.
void addCreateCircle(CLI::App &app, const Options &options, Action &action);
void addAdministration(CLI::App &app, const Options &options, Action &action);
void addBackup(CLI::App &app, const Options &options, Action &action);
void addRestore(CLI::App &app, const Options &options, Action &action);
void addAdvance(CLI::App &app, const Options &options, Action &action);
void addCheck(CLI::App &app, const Options &options, Action &action);
void addMove(CLI::App &app, Action &action);

/// What programs are too old, as the options say. Throws std::runtime_error where that would keep
/// everybody out.
Minimum minimumOf(const Options &options, Site &site);

/// Adds a subcommand that takes the settings as well, wherever they stand.
CLI::App &addCommand(CLI::App &app, const char *name, const char *meaning);

} // namespace kivolo::server
