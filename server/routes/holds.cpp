#include "holds.h"

#include <algorithm>

namespace kivolo::server {

namespace {

constexpr std::chrono::seconds unrestAfterAChange{15};

} // namespace

class Holds::Place final : public http::Place
{
public:
    Place(Holds &holds, const Seat &seat)
        : holds_(holds)
        , circle(seat.circle.number)
        , member(seat.member.number)
        , tick(seat.circle.tick)
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
    const Tick tick; ///< The latest beam of the circle when it began to wait.
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
    const auto found = places_.find(change.circle);
    if (found == places_.end())
        return;
    for (Place *place : found->second) {
        if (ofMembers || (place->member != change.sender && place->tick < change.tick))
            place->release();
    }
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
