// Polls that wait for a beam.
#pragma once

#include "http/message.h"
#include "rules/circles.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <unordered_map>
#include <vector>

namespace kivolo::server {

/// Who waits in which circle. On the thread of the connections, like the requests themselves: what
/// looks at the database and takes a place here within one turn of it misses no commit, because
/// that is announced in a later turn. Who takes longer asks mayHaveMissed() before.
class Holds
{
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    explicit Holds(std::chrono::milliseconds longest, Clock clock = std::chrono::steady_clock::now);
    ~Holds();

    /// Waits until it is released, for the longest time that anything waits here. Nothing where the
    /// circle's polls are answered at once. An older poll of the same seat is released.
    std::optional<http::Held> hold(const Seat &seat);

    std::chrono::steady_clock::time_point now() const { return clock_(); }

    /// Whether something may have been announced that the seat does not know, which was read after
    /// that time.
    bool mayHaveMissed(const Seat &seat, std::chrono::steady_clock::time_point asked);

    /// What all of them wait for, once for each circle.
    std::vector<Ledger::Waiting> waitedFor() const;

    /// Releases those whom the change concerns: for a beam everyone in the circle but its sender
    /// and those who knew it when they began to wait; when its members have changed all of them,
    /// and for a while none is held after that, so that their programs, which ask for the members
    /// only at every sixth poll, soon do. To be told something twice makes no difference.
    void announce(const Change &change);

    /// Whether anyone waits. From any thread.
    bool occupied() const { return waiting_ > 0; }
    /// How many wait. From any thread.
    std::size_t waiting() const { return waiting_; }

private:
    class Place;

    void releaseAll();
    void leave(Place *place);
    void forgetCalmed();
    void remember(const Change &change);

    std::chrono::milliseconds longest_;
    Clock clock_;
    std::unordered_map<std::int64_t, std::vector<Place *>> places_; ///< By the circle's number.
    std::atomic<std::size_t> waiting_ = 0;
    struct Unrest
    {
        std::chrono::steady_clock::time_point end;
        std::int64_t circle = 0;
    };
    std::deque<Unrest> unrest_;                      ///< In the order of their ends.
    std::unordered_map<std::int64_t, int> restless_; ///< How often each circle is in unrest_.

    /// The latest beam of a circle that was announced, and the latest by anyone but its sender.
    struct Latest
    {
        Tick tick = 0, othersTick = 0;
        std::int64_t sender = 0;
    };
    using Announced = std::unordered_map<std::int64_t, Latest>; ///< By the circle's number.
    Announced lately_, before_; ///< What is older than both is forgotten.
    std::chrono::steady_clock::time_point nextAge_{};
};

} // namespace kivolo::server
