// Who is in a circle.
#include "checks.h"
#include "circles_asking.h"
#include "records/refusal.h"

namespace kivolo::server {

using Reason = Refusal::Reason;

namespace {

Miss noSuchCode()
{
    return {Reason::NotFound, "There is no circle with this code."};
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

} // namespace kivolo::server
