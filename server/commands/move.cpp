#include "ledger/move.h"
#include "command.h"

#include <CLI/App.hpp>
#include <iostream>
#include <memory>

namespace kivolo::server {

void addMove(CLI::App &app, Action &action)
{
    struct Ends
    {
        std::string from, to;
    };
    const auto ends = std::make_shared<Ends>();
    CLI::App &command =
        addCommand(app, "move", "Carries everything from one database into an empty one");
    command.add_option("--from", ends->from, "Where it is, which no server may use meanwhile")
        ->option_text("sqlite:PATH or postgresql://USER@HOST/NAME")
        ->required();
    command.add_option("--to", ends->to, "Where it is to be")->option_text("the same")->required();
    command.callback([&action, ends] {
        action = [ends] {
            const Carried moved = moveDatabase(ends->from, ends->to);
            std::cout << moved.circles << " circles with " << moved.members << " members and "
                      << moved.beams << " beams were carried, read again and found the same"
                      << std::endl;
        };
    });
}

} // namespace kivolo::server
