// What the clients saw and what was done to the servers, and what has to follow from it.
#pragma once

#include <boost/json/value.hpp>
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
    Moment doubtful = never; ///< When a request began that may have given it up.
    Moment lost = never;     ///< When it was known to be given up.
};

/// A beam, as it was sent, as it came in a reply, or as the database has it in the end.
struct Beam
{
    std::string id, fromMember, name, type, body, effect; ///< `name`: handle and emoji.
    std::int64_t createdAt = 0, openAt = 0;               ///< 0: no capsule.
    std::int64_t tick = 0;                                ///< Of the database's only.
    std::size_t circle = 0;                               ///< The same.
    bool sealed = false;
};

/// A beam that somebody tried to send.
struct SendLog
{
    /// `Cut`: never arrived as a whole. `Unsure`: no answer, or 500.
    enum class Outcome { Kept, Refused, Cut, Unsure };

    std::size_t seat = 0;
    std::size_t server = 0;
    Beam beam{};                        ///< As far as the sender knows it.
    std::set<std::string> names{};      ///< What its name may have been, mostly one.
    std::optional<std::size_t> after{}; ///< The one before it in the same bytes.
    Span span{};
    Outcome outcome = Outcome::Unsure;
    unsigned status = 0;
};

/// What is kept of a beam that came in a reply.
struct Delivered
{
    explicit Delivered(const Beam &beam);

    std::string id;
    std::uint64_t digest = 0; ///< Of every other field but `sealed`.
    bool sealed = false;
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

struct Record
{
    std::vector<std::string> codes; ///< Of each circle.
    std::vector<SeatLog> seats;
    std::vector<SendLog> sends;
    std::vector<LookLog> looks;
    std::vector<StepLog> steps;
    std::vector<std::vector<Beam>> rows; ///< Of each circle, in the order of ticks.
    std::vector<std::string> complaints; ///< What was seen to be wrong at once.
};

/// What came of a record.
struct Verdict
{
    std::vector<std::string> complaints;
    std::map<std::string, std::size_t> counts;
};

Verdict check(const Record &record);

/// Falsifies a record as a faulty server of that kind would have made it, somewhere from a random
/// place on. False where the record has nothing that it could be done to.
bool falsify(Record &record, const std::string &falsehood, std::uint64_t random);
extern const std::vector<std::string> falsehoods;

/// Reads the beams of a database that no server has open any more, and tries its integrity.
void readRows(const std::string &path, Record &record);

/// What stands there, or nothing.
std::string textAt(const boost::json::value &object, const char *key);
std::int64_t numberAt(const boost::json::value &object, const char *key);
std::string nameIn(const boost::json::value &member, const char *handle, const char *emoji);
Beam beamIn(const boost::json::value &object);

} // namespace kivolo::server::history
