#include "sweeper.h"

#include "ledger/pause.h"

#include <spdlog/spdlog.h>

namespace kivolo::server {

namespace {

constexpr std::chrono::hours between(1);
constexpr Seconds day = 86'400;

} // namespace

Sweeper::Sweeper(Ledger &ledger, Clock clock, Clock calendar, Settings settings)
    : caretaker_(ledger, systemRandomness)
    , clock_(std::move(clock))
    , calendar_(std::move(calendar))
    , settings_(settings)
{}

// Where the server itself was away, be it that it has a backup's database, nobody could be seen:
// its members have a month to come back. After any start they have a day.
bool Sweeper::sweep(std::chrono::seconds running, const std::stop_token &stop)
{
    if (!away_)
        away_ = hasBeenAway();
    std::int64_t beams = 0;
    int circles = 0;
    if (settings_.keep > 0)
        beams = caretaker_.removeOlder(wholeSeconds(clock_()) - settings_.keep, stop);
    const Seconds patience = *away_ ? 30 * day : day;
    if (settings_.abandoned > 0 && running.count() >= patience)
        circles = caretaker_.removeAbandoned(wholeSeconds(calendar_()) - settings_.abandoned,
                                             wholeSeconds(clock_()), stop);
    if (beams == 0 && circles == 0)
        return false;
    caretaker_.giveRoomBack(stop);
    spdlog::info("what is too old was removed\tbeams={} circles={}", beams, circles);
    return true;
}

bool Sweeper::hasBeenAway()
{
    const Seconds lately = wholeSeconds(calendar_()) - 30 * day;
    bool away = true;
    caretaker_.eachCircle([&](const CircleSummary &circle) {
        away = circle.lastUse < lately;
        return away;
    });
    return away;
}

void Sweeper::start()
{
    thread_ = std::jthread([this](const std::stop_token &stop) { run(stop); });
}

void Sweeper::run(const std::stop_token &stop)
{
    const auto started = std::chrono::steady_clock::now();
    while (!stop.stop_requested()) {
        try {
            sweep(std::chrono::duration_cast<std::chrono::seconds>(
                      std::chrono::steady_clock::now() - started),
                  stop);
        } catch (const std::exception &error) {
            spdlog::warn("what is too old could not be removed: {}", error.what());
        }
        pause(stop, between);
    }
}

} // namespace kivolo::server
