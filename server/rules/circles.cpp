#include "circles.h"

#include "checks.h"
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

Miss noSuchCode()
{
    return {Reason::NotFound, "There is no circle with this code."};
}

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

Circles::Circles(Ledger &ledger, Clock clock, Randomness randomness, Settings settings)
    : ledger_(ledger)
    , clock_(std::move(clock))
    , randomness_(std::move(randomness))
    , settings_(std::move(settings))
    , quotas_(settings_.quotas)
    , sightings_(
          std::make_shared<Sightings>(ledger, settings_.calendar ? settings_.calendar : clock_))
{}

namespace {

using Watch = std::chrono::steady_clock;

/// Tells what came of something that puts its result there, and how long that took since then.
template<typename Result>
Ledger::Done telling(std::shared_ptr<std::optional<Result>> result, Done<Result> done,
                     Durations &took, Watch::time_point asked)
{
    return [result = std::move(result), done = std::move(done), &took,
            asked](std::exception_ptr failure) {
        took.add(Watch::now() - asked);
        done(failure ? Outcome<Result>(failure) : Outcome<Result>(std::move(**result)));
    };
}

/// Tells what the step makes of a result, and failures as they are.
template<typename Result, typename Told, typename Step>
Done<Result> after(Done<Told> done, Step step)
{
    return [done = std::move(done), step](Outcome<Result> outcome) {
        std::optional<Result> result;
        try {
            result = outcome.take();
        } catch (...) {
            done(Outcome<Told>(std::current_exception()));
            return;
        }
        done(Outcome<Told>(step(*result)));
    };
}

} // namespace

template<typename Result>
void Circles::change(std::function<Result(LedgerTransaction &, Seconds)> rule,
                     Ledger::JobFacts facts, Done<Result> done)
{
    auto result = std::make_shared<std::optional<Result>>();
    const Watch::time_point asked = Watch::now();
    ledger_.write(
        [rule = std::move(rule), result, asked, this](LedgerTransaction &ledger, Seconds now) {
            writes_.begun.add(Watch::now() - asked);
            *result = rule(ledger, now);
        },
        std::move(facts), telling(result, std::move(done), writes_.done, asked));
}

template<typename Result>
void Circles::look(std::function<Result(LedgerView &)> rule, Done<Result> done)
{
    auto result = std::make_shared<std::optional<Result>>();
    const Watch::time_point asked = Watch::now();
    ledger_.read(
        [rule = std::move(rule), result, asked, this](LedgerView &ledger) {
            reads_.begun.add(Watch::now() - asked);
            *result = rule(ledger);
        },
        telling(result, std::move(done), reads_.done, asked));
}

void Circles::create(CreateRequest request, Done<Founding> done)
{
    check(request);
    if (settings_.closed)
        throw Refusal(Reason::Forbidden,
                      "New circles are made by whoever runs this server. Please ask for a code.");
    change<Founding>([this, request = std::move(request)](
                         auto &ledger, Seconds now) { return createIn(ledger, request, now); },
                     {}, std::move(done));
}

// Most codes that are not known are somebody's guesses, so none of them keeps the writer busy.
void Circles::join(JoinRequest request, Done<Membership> done)
{
    check(request);
    request.code = normalizedInviteCode(std::move(request.code));
    if (!isInviteCode(request.code)) {
        done(Outcome<Membership>(std::make_exception_ptr(noSuchCode())));
        return;
    }
    look<Circle>(
        [code = request.code](LedgerView &ledger) {
            if (std::optional<Circle> circle = ledger.circleByCode(code))
                return std::move(*circle);
            throw noSuchCode();
        },
        [this, request, done = std::move(done)](Outcome<Circle> circle) {
            try {
                circle.take();
                joinKnown(request, done);
            } catch (...) {
                done(Outcome<Membership>(std::current_exception()));
            }
        });
}

void Circles::joinKnown(const JoinRequest &request, Done<Membership> done)
{
    change<Joining>(
        [this, request](auto &ledger, Seconds now) { return joinIn(ledger, request, now); },
        {.code = request.code, .device = request.deviceId},
        after<Joining, Membership>(std::move(done), [this](Joining &joining) {
            observer_({joining.membership.seat.circle.number, 0});
            if (joining.left != 0)
                observer_({joining.left, 0});
            return std::move(joining.membership);
        }));
}

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

Founding Circles::createIn(LedgerTransaction &ledger, const CreateRequest &request, Seconds now)
{
    quotas_.requireRoomForCircle(ledger.room());
    Founding founding;
    founding.key = newIdentifier(randomness_);
    Circle &circle = founding.circle;
    circle.maxSeats = settings_.maxSeats;
    circle.tick = now;
    const std::size_t length = inviteCodeLength(ledger.circlesMade() + 1);
    do
        circle.code = newInviteCode(length, randomness_);
    while (ledger.circleByCode(circle.code));
    ledger.addCircle(founding, request, now);
    return founding;
}

Circles::Joining Circles::joinIn(LedgerTransaction &ledger, const JoinRequest &request,
                                 Seconds now) const
{
    const std::optional<Circle> circle = ledger.circleByCode(request.code);
    if (!circle)
        throw noSuchCode();
    std::optional<Seat> seat = ledger.seatOfDevice(request.deviceId);
    if (seat)
        sightings_->note(seat->member);
    if (seat && seat->circle.number == circle->number) {
        seat->member.handle = request.handle;
        seat->member.emoji = request.emoji;
        ledger.renameMember(seat->member);
        return {{*seat, ledger.members(circle->number)}};
    }
    const std::vector<Member> members = ledger.members(circle->number);
    if (static_cast<std::int64_t>(members.size()) >= circle->maxSeats) {
        const Member *idle = idleSeat(members);
        if (!idle)
            throw Refusal(Reason::Conflict, "This circle is full.");
        ledger.removeMember(*idle);
    }
    if (seat)
        ledger.removeMember(seat->member);
    std::optional<std::string> promised = ledger.takeFounderKey(circle->number, request.deviceId);
    const Seat taken{*circle,
                     {0, circle->number, newIdentifier(randomness_), request.handle, request.emoji,
                      sightings_->now()},
                     promised ? std::move(*promised) : newIdentifier(randomness_)};
    ledger.addMember(taken, request.deviceId, now);
    return {{taken, ledger.members(circle->number)}, seat ? seat->circle.number : 0};
}

// The one that was unseen for longest, where that is long enough.
const Member *Circles::idleSeat(const std::vector<Member> &members) const
{
    const Member *longest = nullptr;
    for (const Member &member : members) {
        const bool idle = sightings_->unseenFor(settings_.idleSeat, member);
        if (idle && (!longest || member.seen < longest->seen))
            longest = &member;
    }
    return longest;
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

void Circles::status(const std::string &deviceId, Done<std::optional<Membership>> done)
{
    checkDeviceId(deviceId);
    look<std::optional<Membership>>(
        [this, deviceId](LedgerView &ledger) -> std::optional<Membership> {
            std::optional<Seat> seat = ledger.seatOfDevice(deviceId);
            if (!seat)
                return std::nullopt;
            sightings_->note(seat->member);
            std::vector<Member> members = ledger.members(seat->circle.number);
            return Membership{std::move(*seat), std::move(members)};
        },
        std::move(done));
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
