// How much each guest may ask of the server.
#pragma once

#include "http/address.h"
#include "records/refusal.h"

#include <array>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <unordered_map>

namespace kivolo::server {

/// Says no to addresses that do something too often. Of each act an address has an allowance of its
/// own, which nobody else can use up; what it does beyond that it takes from a pot that all share.
/// Who comes over a Unix socket has only the pot.
///
/// What an address has used is forgotten when all of it has grown back and never before, so nobody
/// starts afresh by crowding himself out. Where there is no room to remember one more address, it
/// has only the pot: then strangers are kept waiting, but no more is guessed.
///
/// Callable from any thread.
class Throttle
{
public:
    enum class Act { Request, Send, Found, WrongCode, WrongDevice, WrongKey };

    /// So much at once, which grows back within that time.
    struct Rate
    {
        std::int64_t count = 0;
        std::chrono::nanoseconds within{0};
    };
    struct Allowance
    {
        Rate own; ///< Of an IPv4 address, of an IPv6 /64.
        /// How often an IPv6 /48 and a /32 have that, all their addresses together.
        std::int64_t inWideNet = 1, inWidestNet = 1;
        Rate shared; ///< The pot.
    };
    using Allowances = std::array<Allowance, 6>; ///< By Act.

    /// `factor` times what is usual, but for wrong codes.
    static Allowances allowances(double factor = 1);
    /// How many addresses and nets are remembered for each act. Together with the allowance this
    /// bounds how many codes all the addresses there are can try.
    static constexpr std::size_t remembered = 65'536;

    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    explicit Throttle(const Allowances &allowances, Clock clock = std::chrono::steady_clock::now);

    enum class Source { Own, Shared };
    using Time = std::chrono::steady_clock::time_point;
    struct Taken
    {
        Source from;
        Time when;
    };
    /// Uses up one. Throws a Refusal where there is none left.
    Taken take(Act act, const http::Address &address);
    /// Throws where take() would.
    void check(Act act, const http::Address &address);
    /// What can have grown back since it was taken is not given a second time.
    void giveBack(Act act, const http::Address &address, const Taken &taken) noexcept;

private:
    struct Net
    {
        http::Address first;
        unsigned bits = 0;
        bool operator==(const Net &) const = default;
    };
    /// Who knows only his own address cannot choose others that share its place in the table.
    struct Hash
    {
        Hash();
        std::size_t salt; ///< Random.
        std::size_t operator()(const Net &net) const noexcept
        {
            return (std::hash<http::Address>()(net.first) + net.bits) * salt;
        }
    };
    /// Of one act. What was used is kept as the time at which all of it has grown back.
    struct Account
    {
        Allowance allowance;
        std::unordered_map<Net, Time, Hash> used;
        Time sharedUsed;
        Time nextClearing;
    };

    template<typename Visit>
    static void forEachNet(const Account &account, const http::Address &address, Visit visit);
    std::optional<std::chrono::nanoseconds> ownWait(Account &account, const http::Address &address,
                                                    Time now) const;
    Source source(Act act, const http::Address &address, Time now);
    void warnOfGuesses(const http::Address &address, Time now);
    static bool hasRoom(Account &account, Time now);

    Clock clock_;
    std::mutex mutex_;
    std::array<Account, std::tuple_size_v<Allowances>> accounts_; ///< By Act.
    Time nextWarning_;
};

/// One try at a secret. If it was a wrong one, that is counted against the address, and where too
/// many were, no further one is made.
class Guess
{
public:
    /// Throws a Refusal. Codes are few enough to be guessed, so those that are being looked up
    /// count until they turn out to be right: many at a time are no more than one after the other.
    Guess(Throttle &throttle, Throttle::Act wrong, const http::Address &address);
    Guess(const Guess &) = delete;
    Guess &operator=(const Guess &) = delete;
    ~Guess() { right(); }

    void wrong();
    /// What comes of the action. If that is a Miss the guess was a wrong one.
    template<typename Action>
    auto judge(Action action) -> decltype(action())
    {
        try {
            auto result = action();
            right();
            return result;
        } catch (const Miss &) {
            wrong();
            throw;
        } catch (...) {
            right();
            throw;
        }
    }

private:
    void right() noexcept;

    Throttle &throttle_;
    Throttle::Act act_;
    http::Address address_;
    std::optional<Throttle::Taken> taken_; ///< To be given back.
};

} // namespace kivolo::server
