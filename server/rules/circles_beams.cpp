// What is sent in a circle and told of it.
#include "checks.h"
#include "circles_asking.h"
#include "records/refusal.h"
#include "records/wire.h"

#include <algorithm>

namespace kivolo::server {

using Reason = Refusal::Reason;

namespace {

constexpr int firstPollRows = 200;
constexpr int historyBeams = 200;

// What sending costs a circle, in seconds of its time: one for each beam and one for each 64 KiB.
// It may owe an hour of that; so it sends 3,600 beams at once, or a hundred of the largest doodles,
// and one a second all day long. Its ticks, too, run ahead of the clock by no more than that.
constexpr std::int64_t bytesPerSecond = 64 << 10;
constexpr Seconds longestBusy = ticksAhead;

Miss noMember()
{
    return {Reason::Forbidden, "You are not a member of this circle any more."};
}

/// Whether the circle has no beam of others for that seat after that tick, which is one of its own.
bool hasNothingAfter(const Seat &seat, Tick tick)
{
    const Circle &circle = seat.circle;
    const bool own = circle.sender == seat.member.number;
    return tick <= circle.tick && tick >= (own ? circle.othersTick : circle.tick);
}

} // namespace

void Circles::send(BeamRequest request, Done<Beam> done)
{
    check(request, wholeSeconds(clock_()));
    Ledger::JobFacts facts{.bytes = request.body.size(), .seatKey = request.seatKey};
    change<Sending>([this, request = std::move(request)](
                        auto &ledger, Seconds now) { return sendIn(ledger, request, now); },
                    std::move(facts),
                    after<Sending, Beam>(std::move(done), [this](Sending &sending) {
                        observer_(sending.change);
                        return std::move(sending.beam);
                    }));
}

Circles::Sending Circles::sendIn(LedgerTransaction &ledger, const BeamRequest &request, Seconds now)
{
    const Seat seat = taken(ledger, request.seatKey, request.fromMember);
    Beam beam{newIdentifier(randomness_),
              seat.member.id,
              request.type,
              request.body,
              now,
              seat.member.handle,
              seat.member.emoji,
              request.effect,
              request.openAt,
              request.openAt.has_value()};
    const auto bytes = static_cast<std::int64_t>(wire::length(beam));
    Circle circle = seat.circle;
    if (circle.sender != seat.member.number)
        circle.othersTick = circle.tick;
    circle.sender = seat.member.number;
    circle.tick = std::max(now, circle.tick + 1);
    circle.bytes += bytes;
    quotas_.requireRoomForBeam(circle, bytes, ledger.room());
    circle.busyUntil = busyAfter(circle, bytes, now);
    ledger.stampCircle(circle);
    ledger.addBeam(beam, circle.tick, seat.member, bytes);
    return {std::move(beam), {circle.number, seat.member.number, circle.tick}};
}

Seconds Circles::busyAfter(const Circle &circle, std::int64_t bytes, Seconds now)
{
    // Busier than any circle can be: the clock was set back, and that is not the circle's fault.
    const bool clockWasAhead = circle.busyUntil > now + longestBusy;
    const Seconds begin = clockWasAhead ? now : std::max(now, circle.busyUntil);
    const Seconds end = begin + 1 + bytes / bytesPerSecond;
    if (end > now + longestBusy)
        throw Refusal(Reason::TooMany,
                      "Too much was sent in a short time. Please try again in a moment.",
                      std::chrono::seconds(end - now - longestBusy), "circle_rate");
    return end;
}

Seat Circles::taken(LedgerView &ledger, const std::string &seatKey) const
{
    std::optional<Seat> seat = ledger.seatOfKey(seatKey);
    if (!seat)
        throw noMember();
    sightings_->note(seat->member);
    return std::move(*seat);
}

Seat Circles::taken(LedgerView &ledger, const std::string &seatKey,
                    const std::string &memberId) const
{
    Seat seat = taken(ledger, seatKey);
    if (seat.member.id != memberId)
        throw noMember();
    return seat;
}

std::optional<Circles::EmptyPoll> Circles::nothingNew(std::string_view seatKey,
                                                      std::string_view memberId, Tick since)
{
    LedgerGlance *glance = ledger_.glance();
    if (!glance || since == 0)
        return std::nullopt;
    try {
        std::optional<Seat> seat = glance->seat(seatKey, memberId);
        if (!seat)
            throw noMember();
        sightings_->note(seat->member);
        if (hasNothingAfter(*seat, since)) {
            const Tick covered = seat->circle.tick;
            return EmptyPoll{std::move(*seat), Poll{{}, covered + 1}};
        }
    } catch (const LedgerUnavailable &) {
        // Locked for a moment. Whoever may wait for that finds out.
    }
    return std::nullopt;
}

void Circles::checkPoll(const std::string &seatKey, const std::string &memberId, Done<Seat> done)
{
    look<Seat>(
        [this, seatKey, memberId](LedgerView &ledger) { return taken(ledger, seatKey, memberId); },
        std::move(done));
}

void Circles::poll(const std::string &seatKey, const std::string &memberId, Tick since, Room room,
                   Done<Polled> done)
{
    look<Polled>(
        [this, seatKey, memberId, since, room = std::move(room)](LedgerView &ledger) {
            return pollIn(ledger, taken(ledger, seatKey, memberId), since, room);
        },
        std::move(done));
}

void Circles::takeRoom(LedgerView &ledger, const Room &room, std::int64_t bytes)
{
    ledger.announce(bytes);
    if (bytes > 0 && !room(static_cast<std::size_t>(bytes)))
        throw Refusal(Reason::Busy, "Kivolo is very busy just now. Please try again later.", {},
                      "memory");
}

Circles::Polled Circles::pollIn(LedgerView &ledger, const Seat &seat, Tick since,
                                const Room &room) const
{
    // What lies beyond the circle's latest beam was told before the database was restored.
    if (since <= 0 || since > seat.circle.tick)
        return {firstPollIn(ledger, seat, room)};
    if (hasNothingAfter(seat, since))
        return {{{}, seat.circle.tick + 1}, seat};
    // Only so many rows are looked at, so that the asker's own beams, which are not returned, do
    // not make a poll long either. The next one goes on behind them.
    const std::vector<BeamSize> sizes =
        ledger.sizesAfter(seat.circle.number, since, settings_.pollRows);
    const bool all = sizes.size() < static_cast<std::size_t>(settings_.pollRows);
    Tick covered = all ? seat.circle.tick : since;
    std::int64_t bytes = 0;
    for (const BeamSize &size : sizes) {
        const std::int64_t more = size.sender == seat.member.number ? 0 : size.bytes;
        if (bytes > 0 && bytes + more > settings_.pollBytes)
            break;
        bytes += more;
        covered = size.tick;
    }
    Poll poll{{}, covered + 1};
    takeRoom(ledger, room, bytes);
    if (bytes > 0)
        poll.beams = ledger.beams(seat.circle.number, seat.member.number, since, covered);
    seal(poll.beams);
    return {std::move(poll)};
}

Poll Circles::firstPollIn(LedgerView &ledger, const Seat &seat, const Room &room) const
{
    Tick covered = seat.circle.tick;
    Poll poll;
    poll.beams = latestIn(ledger, seat, seat.member.number, firstPollRows, settings_.pollBytes,
                          room, covered);
    poll.serverTime = covered + 1;
    return poll;
}

// Sets `covered` to the latest beam's tick, which is newer than what the caller knew where
// something was sent meanwhile.
std::vector<Beam> Circles::latestIn(LedgerView &ledger, const Seat &seat, std::int64_t exceptSender,
                                    int limit, std::int64_t maxBytes, const Room &room,
                                    Tick &covered) const
{
    const std::vector<BeamSize> sizes = ledger.latestSizes(seat.circle.number, limit);
    if (sizes.empty())
        return {};
    covered = sizes.front().tick;
    Tick after = covered;
    std::int64_t bytes = 0;
    for (const BeamSize &size : sizes) {
        const std::int64_t more = size.sender == exceptSender ? 0 : size.bytes;
        if (bytes + more > maxBytes)
            break;
        bytes += more;
        after = size.tick - 1;
    }
    takeRoom(ledger, room, bytes);
    std::vector<Beam> beams = ledger.beams(seat.circle.number, exceptSender, after, covered);
    seal(beams);
    return beams;
}

void Circles::checkHistory(const std::string &seatKey, std::int64_t limit, Done<Seat> done)
{
    if (limit < 1 || limit > historyBeams)
        throw Refusal(Reason::Invalid, "A history has between 1 and 200 beams.");
    look<Seat>([this, seatKey](LedgerView &ledger) { return taken(ledger, seatKey); },
               std::move(done));
}

void Circles::history(const std::string &seatKey, std::int64_t limit, Room room,
                      Done<std::vector<Beam>> done)
{
    if (limit < 1 || limit > historyBeams)
        throw Refusal(Reason::Invalid, "A history has between 1 and 200 beams.");
    look<std::vector<Beam>>(
        [this, seatKey, limit, room = std::move(room)](LedgerView &ledger) {
            Tick covered = 0;
            return latestIn(ledger, taken(ledger, seatKey), 0, static_cast<int>(limit),
                            settings_.historyBytes, room, covered);
        },
        std::move(done));
}

void Circles::capsule(const std::string &seatKey, const std::string &beamId, Done<Capsule> done)
{
    look<Capsule>(
        [this, seatKey, beamId](LedgerView &ledger) {
            return capsuleIn(ledger, taken(ledger, seatKey), beamId);
        },
        std::move(done));
}

Circles::Capsule Circles::capsuleIn(LedgerView &ledger, const Seat &seat,
                                    const std::string &beamId) const
{
    std::optional<Beam> beam = ledger.capsule(seat.circle.number, beamId);
    if (!beam)
        throw Miss(Reason::NotFound, "This time capsule does not exist.");
    const Time opening{std::chrono::seconds(*beam->openAt)};
    const Time now = clock_();
    if (now >= opening)
        return std::move(*beam);
    if (opening - now > std::chrono::seconds(settings_.capsuleGrace))
        throw Refusal(Reason::Forbidden, "This time capsule is still sealed.");
    return opening;
}

// Everyone is kept out, the sender included.
void Circles::seal(std::vector<Beam> &beams) const
{
    const Time now = clock_();
    for (Beam &beam : beams)
        beam.sealed = beam.openAt && now < Time(std::chrono::seconds(*beam.openAt));
}

} // namespace kivolo::server
