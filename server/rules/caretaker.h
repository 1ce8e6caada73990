// What an operator does with circles.
#pragma once

#include "identifiers.h"
#include "ledger/ledger.h"

#include <optional>
#include <stop_token>

namespace kivolo::server {

/// Looks after circles in steps that are short enough for a server to go on beside them, in the
/// same process or in others. Waits for each: on a thread that may. Throws what the database fails
/// with, and std::runtime_error with a sentence for the operator.
class Caretaker
{
public:
    Caretaker(Ledger &ledger, Randomness randomness);

    /// Gives them in the order of their numbers, until it returns false. Keeps few of them in
    /// memory.
    void eachCircle(const std::function<bool(const CircleSummary &)> &take);
    /// All of them, in that order.
    std::vector<CircleSummary> circles();
    CircleSummary circle(std::int64_t number);
    std::vector<Member> members(std::int64_t circle);
    /// What each sender's beams take, who may have left.
    std::vector<Sent> sent(std::int64_t circle);
    /// Where that device is now.
    Seat seatOf(const std::string &deviceId);

    /// Frees the seat. His beams stay, his program is told that he is no member any more.
    void removeMember(std::int64_t circle, std::int64_t member);
    /// Returns the new one; the old one leads nowhere any more.
    std::string changeCode(std::int64_t circle);
    /// With everything that is in it. `pause` lets every process hear first that its members are
    /// gone; without it, polls that are held elsewhere find out when their time is over.
    void removeCircle(std::int64_t circle, std::chrono::milliseconds pause,
                      const std::stop_token &stop = {});
    /// Removes what that member has sent, sealed capsules too. Returns how many beams.
    std::int64_t erase(std::int64_t circle, std::int64_t member);
    /// Gives what that member has sent, in its order, with the bodies of sealed capsules.
    void eachSent(std::int64_t circle, std::int64_t member, const std::function<void(Beam)> &take);

    /// Removes the beams that were sent before that, and the capsules that were opened before that.
    /// Sealed ones stay. Returns how many.
    std::int64_t removeOlder(Seconds before, const std::stop_token &stop = {});
    /// Removes the circles in which nobody was seen since then and nothing is sealed at `now`.
    /// Returns how many.
    int removeAbandoned(Seconds unseenSince, Seconds now, const std::stop_token &stop = {});
    /// Gives the room of what was removed back to the disk, as far as the database can.
    void giveRoomBack(const std::stop_token &stop = {});

private:
    template<typename Result>
    Result look(std::function<Result(LedgerView &)> what);
    template<typename Result>
    Result change(const std::string &code,
                  std::function<Result(LedgerTransaction &, Seconds)> what);
    std::int64_t removeBeams(const CircleSummary &circle, const Removal &which, Tick until,
                             const std::stop_token &stop);

    Ledger &ledger_;
    Randomness randomness_;
};

} // namespace kivolo::server
