// The rules: who may join, what may be sent, what a poll, a history and a capsule tell.
#pragma once

#include "durations.h"
#include "identifiers.h"
#include "ledger/ledger.h"
#include "quotas.h"
#include "records/requests.h"
#include "sightings.h"

#include <variant>

namespace kivolo::server {

/// What came of a change: its result, or the exception that take() throws.
template<typename Result>
class Outcome
{
public:
    explicit Outcome(Result result)
        : value_(std::move(result))
    {}
    explicit Outcome(std::exception_ptr failure)
        : value_(std::move(failure))
    {}
    Result take()
    {
        if (const auto *failure = std::get_if<std::exception_ptr>(&value_))
            std::rethrow_exception(*failure);
        return std::move(std::get<Result>(value_));
    }

private:
    std::variant<Result, std::exception_ptr> value_;
};

/// Told once, on a thread of the ledger.
template<typename Result>
using Done = std::function<void(Outcome<Result>)>;

/// All but nothingNew() may be asked for from any thread. What the rules turn down is a Refusal,
/// thrown at once where the request itself says so and told otherwise, as a Miss always is; where
/// the database fails, LedgerUnavailable.
class Circles
{
public:
    /// Is asked for memory before so many bytes are read; false where there is none. On a thread of
    /// the ledger.
    using Room = std::function<bool(std::size_t)>;

    struct Settings
    {
        std::int64_t maxSeats = 5; ///< Of circles created from now on.
        bool closed = false;       ///< Nobody may create one.
        /// How long nobody has to be seen in a seat before it can be taken over.
        Seconds idleSeat = 30 * Seconds{86'400};
        Quotas::Limits quotas = {};
        Clock calendar = {}; ///< Tells how long seats are unseen. None: the wall clock does.
        /// How long before its time a capsule may be asked for, because clocks differ.
        Seconds capsuleGrace = 30;
        std::int64_t pollBytes = 32 << 20;
        int pollRows = 1'000; ///< Of the circle, the asker's own included.
        /// Below the 96 MiB that a client takes, and enough for 40 doodles of the largest kind.
        std::int64_t historyBytes = 90 << 20;
    };

    Circles(Ledger &ledger, Clock clock, Randomness randomness, Settings settings);

    /// Is told every change, on a thread of the ledger: of this process before the one who asked
    /// for it is told and, while it wants to hear of that, of any process soon after. So it hears
    /// of some twice. To be set once, before the first.
    void setObserver(Ledger::Observer observer)
    {
        observer_ = observer.tell;
        ledger_.watch(std::move(observer));
    }

    /// How long the database took, from when it was asked.
    struct Waits
    {
        Durations begun; ///< Until it was someone's turn.
        Durations done;  ///< Until it was told, what is changed being on disk.
    };
    const Waits &reads() const { return reads_; }
    const Waits &writes() const { return writes_; }

    void create(CreateRequest request, Done<Founding> done);
    void join(JoinRequest request, Done<Membership> done);
    void send(BeamRequest request, Done<Beam> done);

    /// Whose poll it is that finds nothing (in numbers), and what it is told.
    struct EmptyPoll
    {
        Seat seat;
        Poll poll;
    };

    /// What a poll is told; and whose it is, where it finds nothing.
    struct Polled
    {
        Poll poll;
        std::optional<Seat> nothingFor = std::nullopt;
    };

    void status(const std::string &deviceId, Done<std::optional<Membership>> done);
    void poll(const std::string &seatKey, const std::string &memberId, Tick since, Room room,
              Done<Polled> done);
    /// The poll's answer where it is an empty one and can be told without waiting for anything. On
    /// the thread of the connections.
    std::optional<EmptyPoll> nothingNew(std::string_view seatKey, std::string_view memberId,
                                        Tick since);
    void history(const std::string &seatKey, std::int64_t limit, Room room,
                 Done<std::vector<Beam>> done);

    using Time = std::chrono::system_clock::time_point;
    /// The opened capsule, or, shortly before its time, when to ask again.
    using Capsule = std::variant<Beam, Time>;
    void capsule(const std::string &seatKey, const std::string &beamId, Done<Capsule> done);

    // Whether the poll and the history would be told, without reading them.
    void checkPoll(const std::string &seatKey, const std::string &memberId, Done<Seat> done);
    void checkHistory(const std::string &seatKey, std::int64_t limit, Done<Seat> done);

private:
    struct Joining
    {
        Membership membership;
        std::int64_t left = 0; ///< The circle whose seat was given up, or 0.
    };
    struct Sending
    {
        Beam beam;
        Change change;
    };

    template<typename Result>
    void change(std::function<Result(LedgerTransaction &, Seconds)> rule, Ledger::JobFacts facts,
                Done<Result> done);

    template<typename Result>
    void look(std::function<Result(LedgerView &)> rule, Done<Result> done);

    void joinKnown(const JoinRequest &request, Done<Membership> done);

    Founding createIn(LedgerTransaction &ledger, const CreateRequest &request, Seconds now);
    Joining joinIn(LedgerTransaction &ledger, const JoinRequest &request, Seconds now) const;
    Sending sendIn(LedgerTransaction &ledger, const BeamRequest &request, Seconds now);
    static Seconds busyAfter(const Circle &circle, std::int64_t bytes, Seconds now);
    static void takeRoom(LedgerView &ledger, const Room &room, std::int64_t bytes);
    Polled pollIn(LedgerView &ledger, const Seat &seat, Tick since, const Room &room) const;
    Poll firstPollIn(LedgerView &ledger, const Seat &seat, const Room &room) const;
    Capsule capsuleIn(LedgerView &ledger, const Seat &seat, const std::string &beamId) const;
    std::vector<Beam> latestIn(LedgerView &ledger, const Seat &seat, std::int64_t exceptSender,
                               int limit, std::int64_t maxBytes, const Room &room,
                               Tick &covered) const;
    const Member *idleSeat(const std::vector<Member> &members) const;
    // The seat of that key, in which somebody is seen by that.
    Seat taken(LedgerView &ledger, const std::string &seatKey) const;
    Seat taken(LedgerView &ledger, const std::string &seatKey, const std::string &memberId) const;
    void seal(std::vector<Beam> &beams) const;

    Ledger &ledger_;
    Clock clock_;
    Randomness randomness_;
    Settings settings_;
    Quotas quotas_;
    Waits reads_, writes_;
    std::shared_ptr<Sightings> sightings_; ///< Shared with what it still has to write.
    std::function<void(const Change &)> observer_ = [](const Change &) {};
};

} // namespace kivolo::server
