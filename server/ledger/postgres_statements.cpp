#include "postgres_statements.h"

namespace kivolo::server {

namespace {

// A result is in memory twice until it is taken apart, so a long history comes in parts of this.
constexpr std::int64_t bytesAtATime = 4 << 20;
constexpr int rowsAtATime = 1'000;

/// What they name of that kind, in the notation of arrays.
std::string arrayOf(const PostgresStatements::Facts &jobs, std::string Ledger::JobFacts::*kind)
{
    std::string array = "{";
    for (const Ledger::JobFacts *job : jobs) {
        const std::string &text = job->*kind;
        if (text.empty())
            continue;
        array += array.size() > 1 ? ",\"" : "\"";
        for (const char c : text) {
            if (c == '"' || c == '\\')
                array += '\\';
            array += c;
        }
        array += '"';
    }
    return array + "}";
}

} // namespace

PostgresStatements::PostgresStatements(PostgresConnection &connection)
    : Statements(connection)
{}

void PostgresStatements::begin(const Facts &jobs, const Room &room)
{
    changing_ = true;
    changes_.clear();
    locked_.clear();
    setRoom(room);
    const auto some = [](const Ledger::JobFacts *facts) {
        return !facts->seatKey.empty() || !facts->code.empty() || !facts->device.empty();
    };
    if (std::none_of(jobs.begin(), jobs.end(), some))
        return;
    lockCircles_.forEach({arrayOf(jobs, &Ledger::JobFacts::seatKey),
                          arrayOf(jobs, &Ledger::JobFacts::device),
                          arrayOf(jobs, &Ledger::JobFacts::code)},
                         [this](const sql::Locked &locked) { locked_.insert(locked.circle); });
}

void PostgresStatements::requireLocked(std::int64_t circle) const
{
    if (changing_ && !locked_.contains(circle))
        throw PostgresConflict("somebody has moved to another circle meanwhile");
}

std::optional<Circle> PostgresStatements::circleByCode(const std::string &code)
{
    std::optional<Circle> circle = Statements::circleByCode(code);
    if (circle)
        requireLocked(circle->number);
    return circle;
}

std::optional<Seat> PostgresStatements::seatOfKey(const std::string &key)
{
    std::optional<Seat> seat = Statements::seatOfKey(key);
    if (seat)
        requireLocked(seat->circle.number);
    return seat;
}

std::optional<Seat> PostgresStatements::seatOfDevice(const std::string &deviceId)
{
    std::optional<Seat> seat = Statements::seatOfDevice(deviceId);
    if (seat)
        requireLocked(seat->circle.number);
    return seat;
}

std::int64_t PostgresStatements::circlesMade()
{
    return circlesNumbered_.one({}).value_or(sql::NumbersGiven()).last;
}

void PostgresStatements::announce(std::int64_t bytes)
{
    Statements::announce(bytes);
    announced_ = bytes;
}

std::vector<Beam> PostgresStatements::beams(std::int64_t circle, std::int64_t exceptSender,
                                            Tick after, Tick until)
{
    if (announced_ <= bytesAtATime)
        return Statements::beams(circle, exceptSender, after, until);
    std::vector<Beam> all;
    while (after < until) {
        std::int64_t bytes = 0;
        Tick end = until;
        for (const BeamSize &size : sizesAfter(circle, after, rowsAtATime)) {
            bytes += size.sender == exceptSender ? 0 : size.bytes;
            end = size.tick;
            if (bytes >= bytesAtATime)
                break;
        }
        end = std::min(end, until);
        std::vector<Beam> some = Statements::beams(circle, exceptSender, after, end);
        all.insert(all.end(), std::make_move_iterator(some.begin()),
                   std::make_move_iterator(some.end()));
        after = end;
    }
    return all;
}

void PostgresStatements::addCircle(const Founding &founding, const CreateRequest &founder,
                                   Seconds now)
{
    insertCircle(nextCircle_.one({})->number, founding, founder, now);
}

// Numbered by what is counted with every member who comes or goes, while the circle is locked.
void PostgresStatements::addMember(const Seat &seat, const std::string &deviceId, Seconds now)
{
    const std::optional<sql::Regrouping> regroupings = regroupingsOf_.one({seat.circle.number});
    if (!regroupings)
        throw PostgresConflict("the circle has gone meanwhile");
    insertMember(regroupings->count + 1, seat, deviceId, now);
}

void PostgresStatements::markSeen(const Member &member, Seconds seen)
{
    markSeen_.run({seen, member.circle, member.number});
}

void PostgresStatements::addBeam(const Beam &beam, Tick tick, const Member &sender,
                                 std::int64_t bytes)
{
    Statements::addBeam(beam, tick, sender, bytes);
    changes_.push_back({sender.circle, sender.number, tick});
}

void PostgresStatements::regroup(std::int64_t circle)
{
    regroup_.run({circle});
    changes_.push_back({circle, 0, 0});
}

std::int64_t PostgresStatements::size()
{
    return sizeOfDatabase_.one({}).value_or(sql::DatabaseSize()).bytes;
}

} // namespace kivolo::server
