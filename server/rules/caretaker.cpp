#include "caretaker.h"

#include "records/refusal.h"

#include <algorithm>
#include <future>
#include <limits>
#include <stdexcept>
#include <thread>

namespace kivolo::server {

namespace {

constexpr int circlesAtOnce = 200;
// Some milliseconds of the writer's time, doodles included.
constexpr int beamsAtOnce = 100;
constexpr Tick endOfTime = std::numeric_limits<Tick>::max();

} // namespace

Caretaker::Caretaker(Ledger &ledger, Randomness randomness)
    : ledger_(ledger)
    , randomness_(std::move(randomness))
{}

template<typename Result>
Result Caretaker::look(std::function<Result(LedgerView &)> what)
{
    std::promise<void> done;
    Result result{};
    ledger_.read([&](LedgerView &ledger) { result = what(ledger); },
                 [&](const std::exception_ptr &failure) {
                     failure ? done.set_exception(failure) : done.set_value();
                 });
    done.get_future().get();
    return result;
}

// The code tells which circle it changes.
template<typename Result>
Result Caretaker::change(const std::string &code,
                         std::function<Result(LedgerTransaction &, Seconds)> what)
{
    std::promise<void> done;
    Result result{};
    ledger_.write([&](LedgerTransaction &ledger, Seconds now) { result = what(ledger, now); },
                  {.bytes = 0, .seatKey = {}, .code = code, .device = {}},
                  [&](const std::exception_ptr &failure) {
                      failure ? done.set_exception(failure) : done.set_value();
                  });
    done.get_future().get();
    return result;
}

void Caretaker::eachCircle(const std::function<bool(const CircleSummary &)> &take)
{
    for (std::int64_t after = 0;;) {
        const auto some = look<std::vector<CircleSummary>>(
            [after](LedgerView &ledger) { return ledger.circles(after, circlesAtOnce); });
        if (some.empty() || !std::ranges::all_of(some, take))
            return;
        after = some.back().number;
    }
}

std::vector<CircleSummary> Caretaker::circles()
{
    std::vector<CircleSummary> all;
    eachCircle([&](const CircleSummary &circle) {
        all.push_back(circle);
        return true;
    });
    return all;
}

CircleSummary Caretaker::circle(std::int64_t number)
{
    const auto found = look<std::vector<CircleSummary>>(
        [number](LedgerView &ledger) { return ledger.circles(number - 1, 1); });
    if (found.empty() || found.front().number != number)
        throw std::runtime_error("there is no circle " + std::to_string(number));
    return found.front();
}

std::vector<Member> Caretaker::members(std::int64_t circle)
{
    return look<std::vector<Member>>(
        [circle](LedgerView &ledger) { return ledger.members(circle); });
}

std::vector<Sent> Caretaker::sent(std::int64_t circle)
{
    return look<std::vector<Sent>>([circle](LedgerView &ledger) { return ledger.sent(circle); });
}

Seat Caretaker::seatOf(const std::string &deviceId)
{
    auto seat = look<std::optional<Seat>>(
        [&](LedgerView &ledger) { return ledger.seatOfDevice(deviceId); });
    if (!seat)
        throw std::runtime_error("this device is in no circle");
    return std::move(*seat);
}

void Caretaker::removeMember(std::int64_t number, std::int64_t member)
{
    const bool removed = change<bool>(circle(number).code, [&](LedgerTransaction &ledger, Seconds) {
        for (const Member &one : ledger.members(number)) {
            if (one.number == member) {
                ledger.removeMember(one);
                return true;
            }
        }
        return false;
    });
    if (!removed)
        throw std::runtime_error("there is no member " + std::to_string(member) + " in circle " +
                                 std::to_string(number));
}

std::string Caretaker::changeCode(std::int64_t number)
{
    const std::string before = circle(number).code;
    return change<std::string>(before, [&](LedgerTransaction &ledger, Seconds) {
        const std::size_t length = inviteCodeLength(ledger.circlesMade());
        std::string code;
        do
            code = newInviteCode(length, randomness_);
        while (ledger.circleByCode(code));
        ledger.changeCode(number, code);
        return code;
    });
}

// First nobody can get in any more or ask for anything; then what nobody sees goes step by step.
void Caretaker::removeCircle(std::int64_t number, std::chrono::milliseconds pause,
                             const std::stop_token &stop)
{
    CircleSummary summary = circle(number);
    // No invite code is spelled like that.
    const std::string closed = newIdentifier(randomness_);
    change<bool>(summary.code, [&](LedgerTransaction &ledger, Seconds) {
        for (const Member &member : ledger.members(number))
            ledger.removeMember(member);
        ledger.changeCode(number, closed);
        return true;
    });
    summary.code = closed;
    removeBeams(summary, {}, endOfTime, stop);
    if (stop.stop_requested())
        return;
    std::this_thread::sleep_for(pause);
    change<bool>(closed, [&](LedgerTransaction &ledger, Seconds) {
        ledger.removeCircle(number);
        return true;
    });
}

std::int64_t Caretaker::erase(std::int64_t number, std::int64_t member)
{
    return removeBeams(circle(number), {.firstSender = member, .lastSender = member}, endOfTime,
                       {});
}

void Caretaker::eachSent(std::int64_t circle, std::int64_t member,
                         const std::function<void(Beam)> &take)
{
    constexpr int doodlesAtOnce = 20;
    for (Tick after = -1;;) {
        const auto sizes = look<std::vector<BeamSize>>(
            [&](LedgerView &ledger) { return ledger.sizesAfter(circle, after, doodlesAtOnce); });
        if (sizes.empty())
            return;
        const Tick until = sizes.back().tick;
        for (Beam &beam : look<std::vector<Beam>>(
                 [&](LedgerView &ledger) { return ledger.beamsOf(circle, member, after, until); }))
            take(std::move(beam));
        after = until;
    }
}

std::int64_t Caretaker::removeOlder(Seconds before, const std::stop_token &stop)
{
    std::int64_t removed = 0;
    eachCircle([&](const CircleSummary &one) {
        if (one.bytes > 0)
            removed += removeBeams(one, {.sentBefore = before, .openedBefore = before},
                                   before + 2 * ticksAhead, stop);
        return !stop.stop_requested();
    });
    return removed;
}

int Caretaker::removeAbandoned(Seconds unseenSince, Seconds now, const std::stop_token &stop)
{
    int removed = 0;
    const auto sealed = [&](const CircleSummary &one) {
        return look<Seconds>([&](LedgerView &ledger) { return ledger.lastOpening(one.number); }) >=
               now;
    };
    eachCircle([&](const CircleSummary &one) {
        if (stop.stop_requested())
            return false;
        if (one.lastUse < unseenSince && !sealed(one)) {
            removeCircle(one.number, std::chrono::milliseconds(0), stop);
            ++removed;
        }
        return true;
    });
    return removed;
}

void Caretaker::giveRoomBack(const std::stop_token &stop)
{
    for (bool more = true; more && !stop.stop_requested();)
        more = change<bool>(
            {}, [](LedgerTransaction &ledger, Seconds) { return ledger.giveRoomBack(); });
}

// Between the steps others have their turn.
std::int64_t Caretaker::removeBeams(const CircleSummary &circle, const Removal &which, Tick until,
                                    const std::stop_token &stop)
{
    std::int64_t removed = 0;
    for (Tick after = -1; !stop.stop_requested();) {
        const auto sizes = look<std::vector<BeamSize>>([&](LedgerView &ledger) {
            return ledger.sizesAfter(circle.number, after, beamsAtOnce);
        });
        if (sizes.empty() || sizes.front().tick > until)
            break;
        Removal step = which;
        step.circle = circle.number;
        step.after = after;
        step.until = after = sizes.back().tick;
        removed += change<std::int64_t>(circle.code, [&](LedgerTransaction &ledger, Seconds) {
            return ledger.removeBeams(step);
        });
    }
    return removed;
}

} // namespace kivolo::server
