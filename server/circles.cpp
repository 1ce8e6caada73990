#include "circles.h"

#include "checks.h"
#include "refusal.h"
#include "wire.h"

#include <algorithm>

namespace kivolo::server {

using Reason = Refusal::Reason;

namespace {

constexpr int firstPollBeams = 200;
constexpr int historyBeams = 200;
// A second of a circle never holds more beams than this (see secondWithRoom()), and a poll looks
// at one more than two such seconds: enough to see where the first one ends.
constexpr std::int64_t beamsPerSecond = 1'000;
constexpr int pollRows = 2 * beamsPerSecond + 1;
// How far `created_at` may run ahead of the clock in a circle that sends more than that. It takes
// up a burst of 10,000 beams; a circle that sends so much all the time is held to beamsPerSecond.
constexpr Seconds secondsAhead = 10;

} // namespace

Circles::Circles(Ledger &ledger, Clock clock, Randomness randomness, Settings settings)
    : ledger_(ledger)
    , clock_(std::move(clock))
    , randomness_(std::move(randomness))
    , settings_(settings)
{}

template<typename Result>
void Circles::change(std::function<Result(LedgerTransaction &, Seconds)> rule, std::size_t bytes,
                     Done<Result> done)
{
    auto result = std::make_shared<Result>();
    ledger_.write([rule = std::move(rule), result](LedgerTransaction &ledger,
                                                   Seconds now) { *result = rule(ledger, now); },
                  bytes,
                  [done = std::move(done), result](std::exception_ptr failure) {
                      done(failure ? Outcome<Result>(failure)
                                   : Outcome<Result>(std::move(*result)));
                  });
}

void Circles::create(CreateRequest request, Done<Circle> done)
{
    check(request);
    change<Circle>([this, request = std::move(request)](
                       auto &ledger, Seconds now) { return createIn(ledger, request, now); },
                   0, std::move(done));
}

void Circles::join(JoinRequest request, Done<Membership> done)
{
    check(request);
    request.code = normalizedInviteCode(std::move(request.code));
    change<Membership>([this, request = std::move(request)](
                           auto &ledger, Seconds now) { return joinIn(ledger, request, now); },
                       0, std::move(done));
}

void Circles::send(BeamRequest request, Done<Beam> done)
{
    check(request, wholeSeconds(clock_()));
    const std::size_t bytes = request.body.size();
    change<Beam>([this, request = std::move(request)](
                     auto &ledger, Seconds now) { return sendIn(ledger, request, now); },
                 bytes, std::move(done));
}

Circle Circles::createIn(LedgerTransaction &ledger, const CreateRequest &request, Seconds now) const
{
    Circle circle;
    circle.id = newIdentifier(randomness_);
    circle.maxSeats = settings_.maxSeats;
    do
        circle.code = newInviteCode(randomness_);
    while (ledger.circleByCode(circle.code));
    ledger.addCircle(circle, request.ownerEmail, now);
    return circle;
}

Membership Circles::joinIn(LedgerTransaction &ledger, const JoinRequest &request, Seconds now) const
{
    const std::optional<Circle> circle = ledger.circleByCode(request.code);
    if (!circle)
        throw Refusal(Reason::NotFound, "There is no circle with this code.");
    Member self{0, circle->number, {}, request.handle, request.emoji};
    const std::optional<Seat> seat = ledger.seatOfDevice(request.deviceId);
    if (seat && seat->circle.number == circle->number) {
        self.number = seat->member.number;
        self.id = seat->member.id;
        ledger.renameMember(self);
        return {*circle, self, ledger.members(circle->number)};
    }
    if (static_cast<std::int64_t>(ledger.members(circle->number).size()) >= circle->maxSeats)
        throw Refusal(Reason::Conflict, "This circle is full.");
    if (seat)
        ledger.removeMember(seat->member);
    self.id = newIdentifier(randomness_);
    ledger.addMember(self, request.deviceId, now);
    return {*circle, self, ledger.members(circle->number)};
}

Beam Circles::sendIn(LedgerTransaction &ledger, const BeamRequest &request, Seconds now) const
{
    const std::optional<Seat> seat = ledger.seat(request.circleId, request.fromMember);
    if (!seat) {
        if (!ledger.circleById(request.circleId))
            throw Refusal(Reason::NotFound, "This circle does not exist.");
        throw Refusal(Reason::Forbidden, "You are not a member of this circle any more.");
    }
    Beam beam{newIdentifier(randomness_),
              seat->member.id,
              request.type,
              request.body,
              now,
              seat->member.handle,
              seat->member.emoji,
              request.effect,
              request.openAt,
              request.openAt.has_value()};
    const auto bytes = static_cast<std::int64_t>(wire::length(beam));
    beam.createdAt = secondWithRoom(ledger, seat->circle.number, bytes, now);
    ledger.addBeam(beam, seat->member, bytes);
    return beam;
}

// A poll never cuts through a second, so a second must fit into a reply. What is too much for this
// one is stamped with the next, which no client has asked beyond. The search begins at the circle's
// newest second, so that it ends after one look however many seconds are full already.
Seconds Circles::secondWithRoom(LedgerTransaction &ledger, std::int64_t circle, std::int64_t bytes,
                                Seconds now) const
{
    const std::vector<BeamSize> newest = ledger.latestSizes(circle, 0, 1);
    const Seconds second = newest.empty() ? now : std::max(now, newest.front().createdAt);
    const LedgerTransaction::Load load = ledger.loadOfSecond(circle, second);
    const bool fits = load.beams < beamsPerSecond && load.bytes + bytes <= settings_.pollBytes;
    if (fits || load.beams == 0)
        return second;
    if (second - now >= secondsAhead)
        throw Refusal(Reason::TooMany,
                      "Too much was sent in a short time. Please try again in a moment.");
    return second + 1;
}

void Circles::refuseStranger(const std::string &circleId)
{
    if (!ledger_.view().circleById(circleId))
        throw Refusal(Reason::NotFound, "This circle does not exist.");
    throw Refusal(Reason::Forbidden, "You are not a member of this circle any more.");
}

std::optional<Membership> Circles::status(const std::string &deviceId)
{
    checkDeviceId(deviceId);
    std::optional<Seat> seat = ledger_.view().seatOfDevice(deviceId);
    if (!seat)
        return std::nullopt;
    std::vector<Member> members = ledger_.view().members(seat->circle.number);
    return Membership{std::move(seat->circle), std::move(seat->member), std::move(members)};
}

Poll Circles::poll(const std::string &circleId, const std::string &memberId, Seconds since)
{
    // Before anything is read: what a view does not see yet will be stamped with it or later.
    Poll poll{{}, ledger_.horizon()};
    // A cursor from the future was given out before the clock was set back. Starting over repeats
    // some beams; holding on to it would miss those of the meantime.
    if (since <= 0 || since > std::max(poll.serverTime, wholeSeconds(clock_()))) {
        const std::optional<Seat> seat = ledger_.view().seat(circleId, memberId);
        if (!seat)
            refuseStranger(circleId);
        poll.beams =
            latest(seat->circle.number, seat->member.number, firstPollBeams, settings_.pollBytes);
        seal(poll.beams);
        return poll;
    }
    const auto sizes = ledger_.view().sizesSince(circleId, memberId, since, pollRows);
    if (!sizes)
        refuseStranger(circleId);
    if (sizes->empty())
        return poll;
    std::int64_t bytes = 0;
    Seconds until = sizes->back().createdAt;
    for (const BeamSize &size : *sizes) {
        bytes += size.bytes;
        const bool atEnd = &size == &sizes->back() && sizes->size() == std::size_t{pollRows};
        if ((bytes > settings_.pollBytes || atEnd) && size.createdAt > sizes->front().createdAt) {
            poll.serverTime = std::min(poll.serverTime, size.createdAt);
            until = size.createdAt - 1;
            break;
        }
    }
    poll.beams = ledger_.view().beamsSince(circleId, memberId, since, until);
    seal(poll.beams);
    return poll;
}

std::vector<Beam> Circles::latest(std::int64_t circle, std::int64_t exceptSender, int limit,
                                  std::int64_t maxBytes)
{
    int count = 0;
    std::int64_t bytes = 0;
    for (const BeamSize &size : ledger_.view().latestSizes(circle, exceptSender, limit)) {
        bytes += size.bytes;
        if (bytes > maxBytes)
            break;
        ++count;
    }
    return count > 0 ? ledger_.view().latest(circle, exceptSender, count) : std::vector<Beam>();
}

void Circles::checkPoll(const std::string &circleId, const std::string &memberId)
{
    if (!ledger_.view().seat(circleId, memberId))
        refuseStranger(circleId);
}

Circle Circles::checkHistory(const std::string &circleId, std::int64_t limit)
{
    if (limit < 1 || limit > historyBeams)
        throw Refusal(Reason::Invalid, "A history has between 1 and 200 beams.");
    std::optional<Circle> circle = ledger_.view().circleById(circleId);
    if (!circle)
        throw Refusal(Reason::NotFound, "This circle does not exist.");
    return std::move(*circle);
}

std::vector<Beam> Circles::history(const std::string &circleId, std::int64_t limit)
{
    const Circle circle = checkHistory(circleId, limit);
    std::vector<Beam> beams =
        latest(circle.number, 0, static_cast<int>(limit), settings_.historyBytes);
    seal(beams);
    return beams;
}

std::variant<Beam, Circles::Time> Circles::capsule(const std::string &circleId,
                                                   const std::string &beamId)
{
    std::optional<Beam> beam = ledger_.view().capsule(circleId, beamId);
    if (!beam)
        throw Refusal(Reason::NotFound, "This time capsule does not exist.");
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
