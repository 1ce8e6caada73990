#include "command.h"
#include "ledger/ledger.h"
#include "rules/circles.h"

#include <CLI/App.hpp>
#include <future>
#include <iostream>

namespace kivolo::server {

namespace {

// The founder's seat is nobody's: whoever has the code joins like everybody else.
void createCircle(const Options &options)
{
    const Clock clock = [] { return std::chrono::system_clock::now(); };
    const std::unique_ptr<Ledger> ledger = openLedger(openableDatabase(options), clock);
    Circles circles(*ledger, clock, systemRandomness,
                    {.maxSeats = options.maxSeats, .quotas = options.quotas});
    std::promise<Outcome<Founding>> told;
    circles.create({newIdentifier(systemRandomness), ""},
                   [&](Outcome<Founding> outcome) { told.set_value(std::move(outcome)); });
    std::cout << told.get_future().get().take().circle.code << std::endl;
}

} // namespace

void addCreateCircle(CLI::App &app, const Options &options, Action &action)
{
    addCommand(app, "create-circle", "Makes a circle and prints its invite code").callback([&] {
        action = [&options] { createCircle(options); };
    });
}

} // namespace kivolo::server
