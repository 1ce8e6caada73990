// What is removed by itself.
#pragma once

#include "rules/caretaker.h"

#include <thread>

namespace kivolo::server {

/// Every hour removes what has become too old, in small steps on a thread of its own.
class Sweeper
{
public:
    struct Settings
    {
        Seconds keep = 0;      ///< How long beams are kept; 0: for good.
        Seconds abandoned = 0; ///< After how long a circle that nobody is seen in goes; 0: never.
    };
    Sweeper(Ledger &ledger, Clock clock, Clock calendar, Settings settings);

    /// Once, as it would be done when the server has run for so long. Returns whether there was
    /// anything. Throws what the database fails with.
    bool sweep(std::chrono::seconds running, const std::stop_token &stop = {});

    /// From now on, until this ends.
    void start();

private:
    void run(const std::stop_token &stop);
    bool hasBeenAway();

    Caretaker caretaker_;
    Clock clock_;
    Clock calendar_;
    Settings settings_;
    std::optional<bool> away_; ///< Whether the server had been away for long before it started.
    std::jthread thread_;
};

} // namespace kivolo::server
