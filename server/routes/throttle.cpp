#include "throttle.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <spdlog/spdlog.h>

namespace kivolo::server {

using http::Address;
using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using Act = Throttle::Act;

namespace {

constexpr std::size_t index(Act act)
{
    return static_cast<std::size_t>(act);
}

nanoseconds each(const Throttle::Rate &rate)
{
    return rate.within / rate.count;
}

Throttle::Rate times(std::int64_t factor, const Throttle::Rate &rate)
{
    return {rate.count * factor, rate.within};
}

using Time = std::chrono::steady_clock::time_point;

Time oneMore(Time used, const Throttle::Rate &rate, Time now)
{
    return std::max(used, now) + each(rate);
}

/// Until there is one; none where there is one now.
nanoseconds wait(Time used, const Throttle::Rate &rate, Time now)
{
    return std::max(nanoseconds(0), oneMore(used, rate, now) - now - rate.within);
}

[[noreturn]] void refuse(Act act, nanoseconds wait)
{
    const char *sentence = "Too much was asked in a short time. Please try again in a moment.";
    if (act == Act::Send)
        sentence = "Too much was sent in a short time. Please try again in a moment.";
    else if (act == Act::Found)
        sentence = "Too many circles were started from here. Please try again later.";
    else if (act == Act::WrongCode)
        sentence = "Too many wrong codes were tried. Please try again later.";
    constexpr std::array<std::string_view, std::tuple_size_v<Throttle::Allowances>> names = {
        "requests", "sends", "circles", "codes", "devices", "keys"};
    throw Refusal(Refusal::Reason::TooMany, sentence,
                  std::max(1s, std::chrono::ceil<std::chrono::seconds>(wait)), names[index(act)]);
}

} // namespace

// Fifty people behind one address, each asking every other second, do not come near these. With
// wrong codes the length of codes is made to fit, in identifiers.cpp.
Throttle::Allowances Throttle::allowances(double factor)
{
    Allowances all;
    all[index(Act::Request)] = {{1'000, 10s}, 32, 1'024, {20'000, 10s}};
    all[index(Act::Send)] = {{600, 1min}, 32, 1'024, {6'000, 1min}};
    all[index(Act::Found)] = {{10, 24h}, 8, 64, {100, 100min}};
    all[index(Act::WrongDevice)] = {{300, 1min}, 32, 1'024, {3'000, 1min}};
    all[index(Act::WrongKey)] = all[index(Act::WrongDevice)];
    for (Allowance &allowance : all) {
        for (Rate *rate : {&allowance.own, &allowance.shared})
            rate->count =
                static_cast<std::int64_t>(std::ceil(static_cast<double>(rate->count) * factor));
    }
    all[index(Act::WrongCode)] = {{5, 24h}, 8, 64, {60, 1min}};
    return all;
}

Throttle::Throttle(const Allowances &allowances, Clock clock)
    : clock_(std::move(clock))
{
    for (std::size_t act = 0; act < allowances.size(); ++act)
        accounts_[act].allowance = allowances[act];
}

Throttle::Hash::Hash()
{
    std::random_device random;
    salt = (std::size_t{random()} << 32) | random() | 1;
}

template<typename Visit>
void Throttle::forEachNet(const Account &account, const Address &address, Visit visit)
{
    const Allowance &allowance = account.allowance;
    if (address.isLocal())
        return;
    visit(Net{address.network(), 64}, allowance.own);
    if (address.isIpv4())
        return;
    visit(Net{address.prefix(48), 48}, times(allowance.inWideNet, allowance.own));
    visit(Net{address.prefix(32), 32}, times(allowance.inWidestNet, allowance.own));
}

Throttle::Taken Throttle::take(Act act, const Address &address)
{
    const std::lock_guard lock(mutex_);
    Account &account = accounts_[index(act)];
    const Time now = clock_();
    const Source from = source(act, address, now);
    if (from == Source::Own)
        forEachNet(account, address, [&](const Net &net, const Rate &rate) {
            Time &used = account.used[net];
            used = oneMore(used, rate, now);
        });
    else
        account.sharedUsed = oneMore(account.sharedUsed, account.allowance.shared, now);
    return {from, now};
}

void Throttle::check(Act act, const Address &address)
{
    const std::lock_guard lock(mutex_);
    source(act, address, clock_());
}

void Throttle::giveBack(Act act, const Address &address, const Taken &taken) noexcept
{
    const std::lock_guard lock(mutex_);
    Account &account = accounts_[index(act)];
    const nanoseconds since = clock_() - taken.when;
    const auto rest = [since](const Rate &rate) { return std::max(0ns, each(rate) - since); };
    if (taken.from == Source::Shared)
        account.sharedUsed -= rest(account.allowance.shared);
    else
        forEachNet(account, address, [&](const Net &net, const Rate &rate) {
            const auto found = account.used.find(net);
            if (found != account.used.end())
                found->second -= rest(rate);
        });
}

// Where the next one is to be taken from.
Throttle::Source Throttle::source(Act act, const Address &address, Time now)
{
    Account &account = accounts_[index(act)];
    const std::optional<nanoseconds> own = ownWait(account, address, now);
    if (own && *own == 0ns)
        return Source::Own;
    const nanoseconds shared = wait(account.sharedUsed, account.allowance.shared, now);
    if (shared > 0ns) {
        if (act == Act::WrongCode)
            warnOfGuesses(address, now);
        refuse(act, own ? std::min(*own, shared) : shared);
    }
    return Source::Shared;
}

// The operator can close the door to whoever does that for hours.
void Throttle::warnOfGuesses(const Address &address, Time now)
{
    if (now < nextWarning_)
        return;
    nextWarning_ = now + 1h;
    spdlog::warn("somebody tries wrong invite codes, the latest from {}", address.toString());
}

// Nothing where the address has no allowance of its own.
std::optional<nanoseconds> Throttle::ownWait(Account &account, const Address &address,
                                             Time now) const
{
    if (address.isLocal())
        return std::nullopt;
    nanoseconds longest{0};
    bool known = true;
    forEachNet(account, address, [&](const Net &net, const Rate &rate) {
        const auto found = account.used.find(net);
        if (found == account.used.end())
            known = false;
        else
            longest = std::max(longest, wait(found->second, rate, now));
    });
    if (!known && !hasRoom(account, now))
        return std::nullopt;
    return longest;
}

// Makes room by forgetting who is as good as new, but does not look for that all the time.
bool Throttle::hasRoom(Account &account, Time now)
{
    constexpr std::size_t most = remembered - 3; // what one address takes
    if (account.used.size() <= most)
        return true;
    if (now < account.nextClearing)
        return false;
    std::erase_if(account.used, [now](const auto &entry) { return entry.second <= now; });
    if (account.used.size() > most / 2)
        account.nextClearing = now + 1s;
    return account.used.size() <= most;
}

Guess::Guess(Throttle &throttle, Act wrong, const Address &address)
    : throttle_(throttle)
    , act_(wrong)
    , address_(address)
{
    if (wrong == Act::WrongCode)
        taken_ = throttle_.take(act_, address_);
    else
        throttle_.check(act_, address_);
}

void Guess::right() noexcept
{
    if (taken_)
        throttle_.giveBack(act_, address_, *taken_);
    taken_.reset();
}

void Guess::wrong()
{
    if (taken_) {
        taken_.reset();
        return;
    }
    try {
        throttle_.take(act_, address_);
    } catch (const Refusal &) {
        // Used up meanwhile by others that were looked up at the same time.
    }
}

} // namespace kivolo::server
