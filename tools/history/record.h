// What the clients saw and what was done to the servers, and what has to follow from it.
#pragma once

#include <boost/json/object.hpp>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kivolo::server::history {

namespace json = boost::json;

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
    json::object beam{};                ///< As others are to see it, as far as its sender knows.
    std::optional<std::size_t> after{}; ///< The one before it in the same bytes.
    Span span{};
    Outcome outcome = Outcome::Unsure;
    unsigned status = 0;
};

/// What is kept of a beam that came in a reply.
struct Delivered
{
    explicit Delivered(json::object beam);

    std::string id;
    bool sealed = false;
    std::size_t digest = 0; ///< Of all but `sealed`.
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
    json::object beam;
    std::int64_t tick = 0;
    std::size_t circle = 0;
};

struct Record
{
    std::vector<std::string> codes; ///< Of each circle.
    std::vector<SeatLog> seats;
    std::vector<SendLog> sends;
    std::vector<LookLog> looks;
    std::vector<StepLog> steps;
    std::vector<std::vector<Row>> rows;        ///< Of each circle, in the order of ticks.
    std::vector<std::string> complaints;       ///< What was seen to be wrong at once.
    std::map<std::string, std::size_t> counts; ///< Of what was done.
};

/// Adds to the complaints, and counts what was looked at. Complains of what there was none of, too:
/// that is what a run would have shown nothing about.
void check(Record &record);

std::string textAt(const json::value &object, const char *key);

} // namespace kivolo::server::history
