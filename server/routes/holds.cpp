#include "holds.h"

#include <algorithm>

namespace kivolo::server {

namespace {

constexpr std::chrono::seconds unrestAfterAChange{15};

// Longer than a read takes that is not given up.
constexpr std::chrono::seconds remembered{10};

} // namespace

class Holds::Place final : public http::Place
{
public:
    Place(Holds &holds, const Seat &seat)
        : holds_(holds)
        , circle(seat.circle.number)
        , member(seat.member.number)
        , tick(seat.circle.tick)
        , regrouped(seat.circle.regrouped)
    {
        ++holds_.waiting_;
    }
    ~Place() override
    {
        --holds_.waiting_;
        holds_.leave(this);
    }

private:
    Holds &holds_;

public:
    const std::int64_t circle;
    const std::int64_t member;
    const Tick tick;              ///< The latest beam of the circle when it began to wait.
    const std::int64_t regrouped; ///< Of the circle at that time.
};

Holds::Holds(std::chrono::milliseconds longest, Clock clock)
    : longest_(longest)
    , clock_(std::move(clock))
{}

Holds::~Holds() = default;

std::optional<http::Held> Holds::hold(const Seat &seat)
{
    forgetCalmed();
    if (longest_.count() == 0 || restless_.contains(seat.circle.number))
        return std::nullopt;
    auto place = std::make_shared<Place>(*this, seat);
    std::vector<Place *> &places = places_[place->circle];
    for (Place *other : places) {
        if (other->member == place->member)
            other->release();
    }
    places.push_back(place.get());
    return http::Held{std::move(place), longest_};
}

void Holds::announce(const Change &change)
{
    if (change.circle == 0)
        return releaseAll();
    forgetCalmed();
    const bool ofMembers = change.sender == 0;
    if (ofMembers && longest_.count() > 0) {
        unrest_.push_back({clock_() + unrestAfterAChange, change.circle});
        ++restless_[change.circle];
    }
    if (!ofMembers)
        remember(change);
    const auto found = places_.find(change.circle);
    if (found == places_.end())
        return;
    for (Place *place : found->second) {
        if (ofMembers || (place->member != change.sender && place->tick < change.tick))
            place->release();
    }
}

void Holds::remember(const Change &change)
{
    if (const auto now = clock_(); now >= nextAge_) {
        before_ = std::exchange(lately_, {});
        nextAge_ = now + remembered;
    }
    Latest &latest = lately_[change.circle];
    if (change.tick > latest.tick) {
        if (change.sender != latest.sender)
            latest.othersTick = latest.tick;
        latest.tick = change.tick;
        latest.sender = change.sender;
    } else if (change.sender != latest.sender) {
        latest.othersTick = std::max(latest.othersTick, change.tick);
    }
}

// A change of members keeps its circle restless for longer than that.
bool Holds::mayHaveMissed(const Seat &seat, std::chrono::steady_clock::time_point asked)
{
    const auto knowsMore = [&seat](const Announced &announced) {
        const auto found = announced.find(seat.circle.number);
        if (found == announced.end())
            return false;
        const Latest &latest = found->second;
        const bool own = latest.sender == seat.member.number;
        return (own ? latest.othersTick : latest.tick) > seat.circle.tick;
    };
    return clock_() - asked >= remembered || knowsMore(lately_) || knowsMore(before_);
}

std::vector<Ledger::Waiting> Holds::waitedFor() const
{
    std::vector<Ledger::Waiting> waiting;
    for (const auto &[circle, places] : places_) {
        Ledger::Waiting all{circle, places.front()->tick, places.front()->regrouped};
        for (const Place *place : places) {
            all.tick = std::min(all.tick, place->tick);
            all.regrouped = std::min(all.regrouped, place->regrouped);
        }
        waiting.push_back(all);
    }
    return waiting;
}

void Holds::releaseAll()
{
    for (const auto &[circle, places] : places_) {
        for (Place *place : places)
            place->release();
    }
}

void Holds::leave(Place *place)
{
    const auto found = places_.find(place->circle);
    if (found == places_.end())
        return;
    std::erase(found->second, place);
    if (found->second.empty())
        places_.erase(found);
}

void Holds::forgetCalmed()
{
    for (const auto now = clock_(); !unrest_.empty() && unrest_.front().end <= now;
         unrest_.pop_front()) {
        const auto found = restless_.find(unrest_.front().circle);
        if (--found->second == 0)
            restless_.erase(found);
    }
}

} // namespace kivolo::server
