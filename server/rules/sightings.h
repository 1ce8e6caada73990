// When somebody was last seen in each seat.
#pragma once

#include "ledger/ledger.h"

#include <memory>
#include <mutex>
#include <vector>

namespace kivolo::server {

/// Goes on from what the wall clock says now, whatever becomes of that one: so nothing looks long
/// past because a clock was set. Counts while the machine sleeps. Callable from any thread.
Clock steadyCalendar(const Clock &wall);

/// Keeps in a seat's row when it was last seen, to within a few hours, so that of all the polls of
/// a day only some have to write. Callable from any thread, waits for nothing.
class Sightings : public std::enable_shared_from_this<Sightings>
{
public:
    static constexpr Seconds precision = 6 * 3'600;

    Sightings(Ledger &ledger, Clock calendar);

    Seconds now() const { return wholeSeconds(calendar_()); }

    /// The member is there. A write that this takes may fail: then it is for a later time.
    void note(const Member &member);

    /// Whether the member has certainly not been seen for that long. One who was last seen in the
    /// future, by a server whose clock was wrong, counts as seen now.
    bool unseenFor(Seconds time, const Member &member);

private:
    void put(const Member &member);
    void write();
    void written(bool failed);

    Ledger &ledger_;
    Clock calendar_;

    std::mutex mutex_;
    std::vector<Member> waiting_; ///< For the next write.
    bool writing_ = false;
    std::optional<Seconds> failed_; ///< When the last write did, if it did.
};

} // namespace kivolo::server
