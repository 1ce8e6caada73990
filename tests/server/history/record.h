// What the clients saw and what was done to the servers, and what has to follow from it.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace kivolo::server::history {

/// Microseconds since 1970 on a clock that nobody sets.
using Moment = std::int64_t;
constexpr Moment never = std::numeric_limits<Moment>::max();
constexpr Moment second = 1'000'000;

/// From before the request was sent until its outcome was known.
struct Span
{
    Moment begun = 0;
    Moment ended = 0;
};

/// A device's place in a circle, as it was told.
struct SeatLog
{
    std::string key;
    std::string member;
    std::size_t circle = 0;
    std::size_t client = 0;
    Moment doubtful = never; ///< When a request began that may have given it up.
    Moment lost = never;     ///< When it was known to be given up.
};

/// A beam that somebody tried to send.
struct SendLog
{
    /// `Cut`: never arrived as a whole. `Unsure`: no answer, or 500.
    enum class Outcome { Kept, Refused, Cut, Unsure };

    std::size_t seat = 0;
    std::size_t server = 0;
    std::string type, body, effect;
    std::int64_t openAt = 0;          ///< 0: none.
    std::set<std::string> names;      ///< Handle and emoji: what they may have been, mostly one.
    std::optional<std::size_t> after; ///< The one before it in the same bytes.
    Span span{};
    Outcome outcome = Outcome::Unsure;
    unsigned status = 0;
    std::string id;
    std::int64_t createdAt = 0;
};

/// A beam as it came in a reply.
struct Delivered
{
    std::string id;
    std::uint64_t digest = 0; ///< Of every other field but `sealed`.
    bool sealed = false;
    std::int64_t openAt = 0;
};

/// What a reply told. `Foreign`: asked for with what must not open it.
struct LookLog
{
    enum class Kind { Poll, History, Capsule, Foreign };

    Kind kind = Kind::Poll;
    std::size_t seat = 0;
    std::size_t server = 0;
    std::int64_t asked = 0; ///< `since` or `limit`.
    Span span{};
    unsigned status = 0;
    std::int64_t serverTime = 0;
    std::vector<Delivered> beams{};
};

/// A server's wall clock was set: from then on it is ahead by so many seconds.
struct StepLog
{
    std::size_t server = 0;
    Moment at = 0;
    std::int64_t ahead = 0;
};

/// A beam as the database has it in the end.
struct Row
{
    std::string id, fromMember, name, type, body, effect;
    std::int64_t tick = 0, createdAt = 0, openAt = 0;
    Delivered delivered(bool sealed) const;
};

struct Record
{
    std::vector<std::string> codes; ///< Of each circle.
    std::vector<SeatLog> seats;
    std::vector<SendLog> sends;
    std::vector<LookLog> looks;
    std::vector<StepLog> steps;
    std::map<std::string, std::vector<Row>> rows; ///< By the circle's code, in the order of ticks.
    std::vector<std::string> complaints;          ///< What was seen to be wrong at once.
};

/// What came of a record.
struct Verdict
{
    std::vector<std::string> complaints;
    std::size_t kept = 0, refused = 0, cut = 0, unsureKept = 0, unsureGone = 0;
    std::size_t polls = 0, deliveries = 0, sealed = 0, opened = 0, refusedKeys = 0;
    std::vector<Moment> delays; ///< From a beam's reply to that of a poll that waited, sorted.

    std::size_t delay(std::size_t percent) const
    {
        return delays.empty() ? 0 : static_cast<std::size_t>(delays[delays.size() * percent / 100]);
    }
};

Verdict check(const Record &record);

/// Ways to falsify a record as a faulty server would have made it. Each has a name; false where
/// the record has nothing of that kind.
struct Falsehood
{
    const char *name;
    bool (*apply)(Record &record, std::uint64_t random);
};
extern const std::array<Falsehood, 10> falsehoods;

/// Reads the beams of a database that no server has open any more, and tries its integrity.
void readRows(const std::string &path, Record &record);

/// What stands for a beam's fields, so that they need not be kept for each delivery.
std::uint64_t digest(const Row &beam);

} // namespace kivolo::server::history
