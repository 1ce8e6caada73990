#include "sightings.h"

#include <cstdlib>
#include <ctime>
#include <new>
#include <utility>

namespace kivolo::server {

namespace {

// Written in some milliseconds. Whoever finds no room is seen again at his next poll.
constexpr std::size_t mostAtOnce = 1'000;
constexpr Seconds pauseAfterAFailure = 60;

std::chrono::nanoseconds sinceBoot()
{
    timespec time = {};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

} // namespace

Clock steadyCalendar(const Clock &wall)
{
    return [boot = wall() - sinceBoot()] { return boot + sinceBoot(); };
}

Sightings::Sightings(Ledger &ledger, Clock calendar)
    : ledger_(ledger)
    , calendar_(std::move(calendar))
{}

void Sightings::note(const Member &member)
{
    if (now() - member.seen >= precision)
        put(member);
}

bool Sightings::unseenFor(Seconds time, const Member &member)
{
    const Seconds unseen = now() - member.seen;
    if (unseen < 0)
        put(member);
    return unseen >= time + precision;
}

void Sightings::put(const Member &member)
{
    {
        const std::lock_guard lock(mutex_);
        const bool paused = failed_ && std::abs(now() - *failed_) < pauseAfterAFailure;
        if (paused || waiting_.size() == mostAtOnce)
            return;
        waiting_.push_back(member);
        if (std::exchange(writing_, true))
            return;
    }
    write();
}

// One after the other, so that many who come back at once share their wait for the disk.
void Sightings::write()
{
    std::vector<Member> members;
    {
        const std::lock_guard lock(mutex_);
        members.swap(waiting_);
    }
    try {
        ledger_.write(
            [members = std::move(members), seen = now()](LedgerTransaction &ledger, Seconds) {
                for (const Member &member : members)
                    ledger.markSeen(member, seen);
            },
            {},
            [self = shared_from_this()](const std::exception_ptr &failure) {
                self->written(failure != nullptr);
            });
    } catch (const std::bad_alloc &) {
        written(true);
    }
}

void Sightings::written(bool failed)
{
    {
        const std::lock_guard lock(mutex_);
        failed_ = failed ? std::optional(now()) : std::nullopt;
        if (failed)
            waiting_.clear();
        writing_ = !waiting_.empty();
        if (!writing_)
            return;
    }
    write();
}

} // namespace kivolo::server
