#include "record.h"

#include <algorithm>
#include <functional>
#include <sqlite3.h>
#include <stdexcept>
#include <unordered_map>

namespace kivolo::server::history {

namespace {

// What the two programs' views of one clock can be apart, and what a step takes to be seen.
constexpr Moment slack = second / 10;

using Rows = std::vector<Row>;

/// The earliest and the latest time that a server's clock showed meanwhile.
Span clockOf(const Record &record, std::size_t server, const Span &span)
{
    Span clock{never, 0};
    StepLog current{server, 0, 0};
    const auto include = [&](Moment until) {
        const Moment from = std::max(span.begun, current.at - slack);
        const Moment to = std::min(span.ended, until + slack);
        if (from > to)
            return;
        clock.begun = std::min(clock.begun, from + current.ahead * second);
        clock.ended = std::max(clock.ended, to + current.ahead * second);
    };
    for (const StepLog &step : record.steps) {
        if (step.server != server)
            continue;
        include(step.at);
        current = step;
    }
    include(never - slack);
    return clock;
}

class Checker
{
public:
    explicit Checker(const Record &record)
        : record_(record)
    {
        verdict_.complaints = record.complaints;
    }

    Verdict run()
    {
        matchRows();
        for (std::size_t i = 0; i < record_.sends.size(); ++i)
            checkSend(record_.sends[i], i);
        for (std::size_t circle = 0; circle < record_.codes.size(); ++circle)
            checkOrder(circle);
        for (const LookLog &look : record_.looks)
            checkLook(look);
        checkDelays();
        return std::move(verdict_);
    }

private:
    struct Place
    {
        std::size_t circle = 0;
        std::size_t index = 0;
    };
    /// The beams of a circle that were acknowledged by then, and how far they reach.
    struct Known
    {
        Moment by = 0;
        std::size_t count = 0;
    };

    // Whoever waits hears of a beam when it is accepted, not when the waiting is over. Stalls and a
    // busy machine delay some, but not most.
    void checkDelays()
    {
        std::sort(verdict_.delays.begin(), verdict_.delays.end());
        if (verdict_.delay(50) > second / 4)
            complain({}, "waiting polls do not hear of beams");
    }

    void complain(const Span &span, const std::string &what)
    {
        constexpr std::size_t enough = 50;
        if (verdict_.complaints.size() < enough)
            verdict_.complaints.push_back(what + " (" + std::to_string(span.begun) + " to " +
                                          std::to_string(span.ended) + ")");
    }

    const Rows &rowsOf(std::size_t circle) const
    {
        static const Rows none;
        const auto found = record_.rows.find(record_.codes[circle]);
        return found == record_.rows.end() ? none : found->second;
    }

    void matchRows()
    {
        for (std::size_t i = 0; i < record_.sends.size(); ++i)
            sendOfBody_.emplace(record_.sends[i].body, i);
        rowOfSend_.resize(record_.sends.size());
        known_.resize(record_.codes.size());
        for (std::size_t circle = 0; circle < record_.codes.size(); ++circle) {
            const Rows &rows = rowsOf(circle);
            for (std::size_t index = 0; index < rows.size(); ++index)
                matchRow({circle, index}, rows[index]);
        }
        for (std::vector<Known> &known : known_) {
            std::sort(known.begin(), known.end(),
                      [](const Known &a, const Known &b) { return a.by < b.by; });
            for (std::size_t i = 1; i < known.size(); ++i)
                known[i].count = std::max(known[i].count, known[i - 1].count);
        }
    }

    void matchRow(Place place, const Row &row)
    {
        placeOfId_[row.id] = place;
        const auto found = sendOfBody_.find(row.body);
        if (found == sendOfBody_.end())
            return complain({}, "a beam that nobody sent: " + row.id);
        const SendLog &send = record_.sends[found->second];
        if (rowOfSend_[found->second])
            complain(send.span, "a beam was kept twice: " + row.id);
        rowOfSend_[found->second] = place;
        const SeatLog &seat = record_.seats[send.seat];
        if (place.circle != seat.circle || row.fromMember != seat.member)
            complain(send.span, "a beam is in another place than it was sent to: " + row.id);
        if (row.type != send.type || row.effect != send.effect || row.openAt != send.openAt)
            complain(send.span, "a beam was altered: " + row.id);
        // One that nobody waited for may have been taken after the sender's next change of name.
        if (send.outcome == SendLog::Outcome::Kept && !send.names.contains(row.name))
            complain(send.span, "a beam has another sender's name: " + row.id + " " + row.name);
        if (send.outcome == SendLog::Outcome::Kept)
            known_[place.circle].push_back({send.span.ended, place.index + 1});
    }

    void checkSend(const SendLog &send, std::size_t index)
    {
        const std::optional<Place> place = rowOfSend_[index];
        const SeatLog &seat = record_.seats[send.seat];
        switch (send.outcome) {
        case SendLog::Outcome::Kept:
            ++verdict_.kept;
            if (!place || rowsOf(place->circle)[place->index].id != send.id)
                complain(send.span, "an acknowledged beam is gone: " + send.id);
            if (send.span.begun > seat.lost)
                complain(send.span, "a beam was sent from a seat that was given up: " + send.id);
            if (place && rowsOf(place->circle)[place->index].createdAt != send.createdAt)
                complain(send.span, "a beam's time was told differently: " + send.id);
            if (!within(send.createdAt * second, clockOf(record_, send.server, send.span), second))
                complain(send.span, "a beam has a time that was never: " + send.id);
            break;
        case SendLog::Outcome::Refused:
        case SendLog::Outcome::Cut:
            ++(send.outcome == SendLog::Outcome::Cut ? verdict_.cut : verdict_.refused);
            if (place)
                complain(send.span, "a beam was kept though it was refused with " +
                                        std::to_string(send.status));
            if (send.status == 403 && send.span.ended < seat.doubtful)
                complain(send.span, "a member was refused");
            break;
        case SendLog::Outcome::Unsure:
            ++(place ? verdict_.unsureKept : verdict_.unsureGone);
            break;
        }
        if (send.after && place && rowOfSend_[*send.after] &&
            rowOfSend_[*send.after]->index > place->index)
            complain(send.span, "beams of one connection changed places");
    }

    // What was acknowledged before another was sent stands before it.
    void checkOrder(std::size_t circle)
    {
        const Rows &rows = rowsOf(circle);
        Moment acknowledged = never;
        for (std::size_t i = rows.size(); i-- > 0;) {
            const auto found = sendOfBody_.find(rows[i].body);
            if (found == sendOfBody_.end())
                continue;
            const SendLog &send = record_.sends[found->second];
            if (send.span.begun > acknowledged)
                complain(send.span, "a beam stands before an older one: " + rows[i].id);
            if (send.outcome == SendLog::Outcome::Kept)
                acknowledged = std::min(acknowledged, send.span.ended);
            if (i > 0 && rows[i - 1].tick >= rows[i].tick)
                complain(send.span, "two beams have one place: " + rows[i].id);
        }
    }

    void checkLook(const LookLog &look)
    {
        const SeatLog &seat = record_.seats[look.seat];
        if (look.status == 403 && look.kind != LookLog::Kind::Capsule) {
            ++verdict_.refusedKeys;
            if (look.kind != LookLog::Kind::Foreign && look.span.ended < seat.doubtful)
                complain(look.span, "a member was refused");
        }
        if (look.status != 200)
            return checkRefusal(look);
        if (look.kind == LookLog::Kind::Foreign || look.span.begun > seat.lost)
            return complain(look.span, "what must open nothing has opened something");
        const Rows &rows = rowsOf(seat.circle);
        if (look.kind == LookLog::Kind::Poll)
            checkPoll(look, seat, rows);
        else if (look.kind == LookLog::Kind::History)
            checkHistory(look, seat, rows);
        for (const Delivered &beam : look.beams)
            checkBeam(look, seat, beam);
    }

    void checkRefusal(const LookLog &look)
    {
        const bool expected = look.status == 0 || look.status == 403 || look.status == 429 ||
                              look.status == 503 ||
                              (look.kind == LookLog::Kind::Foreign && look.status == 404);
        if (!expected)
            complain(look.span, "an unexpected status " + std::to_string(look.status));
    }

    // The reply to `since` has just what came after that, up to the tick that it says it covers;
    // polls follow each other without a gap, so this is each beam once and in one order for all.
    void checkPoll(const LookLog &look, const SeatLog &seat, const Rows &rows)
    {
        constexpr std::size_t firstPoll = 200;
        ++verdict_.polls;
        const auto behind = [&](std::int64_t tick) {
            const auto end =
                std::upper_bound(rows.begin(), rows.end(), tick,
                                 [](std::int64_t t, const Row &row) { return t < row.tick; });
            return static_cast<std::size_t>(end - rows.begin());
        };
        const std::size_t end = behind(look.serverTime - 1);
        std::size_t begin = look.asked > 0 ? behind(look.asked) : end - std::min(end, firstPoll);
        if (end > 0 && rows[end - 1].tick != look.serverTime - 1)
            complain(look.span, "a server_time of no beam");
        if (look.serverTime <= look.asked)
            complain(look.span, "server_time went back");
        requireAllKnown(look, seat.circle, end);
        std::vector<std::string> expected;
        for (; begin < end; ++begin) {
            if (rows[begin].fromMember == seat.member)
                continue;
            expected.push_back(rows[begin].id);
            noteDelay(look, rows[begin]);
        }
        requireThese(look, expected);
        verdict_.deliveries += look.beams.size();
    }

    void checkHistory(const LookLog &look, const SeatLog &seat, const Rows &rows)
    {
        std::size_t end = 0;
        if (!look.beams.empty()) {
            const auto place = placeOfId_.find(look.beams.back().id);
            if (place == placeOfId_.end() || place->second.circle != seat.circle)
                return complain(look.span, "a history ends with a beam of elsewhere");
            end = place->second.index + 1;
        }
        requireAllKnown(look, seat.circle, end);
        std::vector<std::string> expected;
        for (auto i = end - std::min(end, static_cast<std::size_t>(look.asked)); i < end; ++i)
            expected.push_back(rows[i].id);
        requireThese(look, expected);
    }

    // What was acknowledged before a look began is part of it.
    void requireAllKnown(const LookLog &look, std::size_t circle, std::size_t end)
    {
        const std::vector<Known> &known = known_[circle];
        const auto after = std::partition_point(
            known.begin(), known.end(), [&](const Known &k) { return k.by < look.span.begun; });
        if (after != known.begin() && std::prev(after)->count > end)
            complain(look.span, "an acknowledged beam was not delivered: " +
                                    rowsOf(circle)[std::prev(after)->count - 1].id);
    }

    void requireThese(const LookLog &look, const std::vector<std::string> &expected)
    {
        const bool same =
            std::equal(look.beams.begin(), look.beams.end(), expected.begin(), expected.end(),
                       [](const Delivered &beam, const auto &id) { return beam.id == id; });
        if (!same)
            complain(look.span, "a reply has other beams than it should: " +
                                    std::to_string(look.beams.size()) + " instead of " +
                                    std::to_string(expected.size()));
    }

    void checkBeam(const LookLog &look, const SeatLog &seat, const Delivered &beam)
    {
        const auto place = placeOfId_.find(beam.id);
        if (place == placeOfId_.end() || place->second.circle != seat.circle)
            return complain(look.span, "a beam of elsewhere: " + beam.id);
        const Row &row = rowsOf(seat.circle)[place->second.index];
        if (beam.digest != row.delivered(beam.sealed).digest)
            complain(look.span, "a beam came altered: " + beam.id);
        if (row.openAt == 0)
            return;
        const Span clock = clockOf(record_, look.server, look.span);
        if (!beam.sealed && clock.ended + slack < row.openAt * second)
            complain(look.span, "a capsule was readable early: " + beam.id);
        if (beam.sealed && clock.begun - slack >= row.openAt * second)
            complain(look.span, "a capsule stayed sealed: " + beam.id);
        ++(beam.sealed ? verdict_.sealed : verdict_.opened);
    }

    // Of polls that were waiting when the beam was accepted, by the same process.
    void noteDelay(const LookLog &look, const Row &row)
    {
        const auto found = sendOfBody_.find(row.body);
        if (found == sendOfBody_.end())
            return;
        const SendLog &send = record_.sends[found->second];
        if (send.outcome == SendLog::Outcome::Kept && send.server == look.server &&
            look.span.begun < send.span.begun)
            verdict_.delays.push_back(std::max<Moment>(0, look.span.ended - send.span.ended));
    }

    static bool within(Moment time, const Span &span, Moment tolerance)
    {
        return time >= span.begun - tolerance - slack && time <= span.ended + slack;
    }

    const Record &record_;
    Verdict verdict_;
    std::unordered_map<std::string, std::size_t> sendOfBody_;
    std::unordered_map<std::string, Place> placeOfId_;
    std::vector<std::optional<Place>> rowOfSend_;
    std::vector<std::vector<Known>> known_; ///< By circle, sorted; `count` never falls.
};

std::string textOf(sqlite3_stmt *query, int column)
{
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(query, column));
    return text ? std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(query, column)))
                : std::string();
}

template<typename Each>
void forEachRow(sqlite3 *database, const char *sql, Each &&each)
{
    sqlite3_stmt *query = nullptr;
    int result = sqlite3_prepare_v2(database, sql, -1, &query, nullptr);
    while (result == SQLITE_OK || result == SQLITE_ROW) {
        result = sqlite3_step(query);
        if (result == SQLITE_ROW)
            each(query);
    }
    sqlite3_finalize(query);
    if (result != SQLITE_DONE)
        throw std::runtime_error(std::string("the database: ") + sqlite3_errmsg(database));
}

/// Changes the first from a random one on that can be changed.
template<typename Item, typename Change>
bool changeOne(std::vector<Item> &items, std::uint64_t random, Change &&change)
{
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (change(items[(random + i) % items.size()]))
            return true;
    }
    return false;
}

template<typename Change>
bool changePoll(Record &record, std::uint64_t random, std::size_t beams, Change &&change)
{
    return changeOne(record.looks, random, [&](LookLog &look) {
        const bool fits = look.kind == LookLog::Kind::Poll && look.beams.size() >= beams;
        if (fits)
            change(look);
        return fits;
    });
}

bool openEarly(Record &record, LookLog &look)
{
    const Span clock = clockOf(record, look.server, look.span);
    for (Delivered &beam : look.beams) {
        for (const Row &row : record.rows[record.codes[record.seats[look.seat].circle]]) {
            if (row.id == beam.id && row.openAt * second > clock.ended + second) {
                beam = row.delivered(false);
                return true;
            }
        }
    }
    return false;
}

} // namespace

const std::array<Falsehood, 10> falsehoods{{
    {"lost",
     [](Record &record, std::uint64_t random) {
         return changePoll(record, random, 1, [](LookLog &look) { look.beams.pop_back(); });
     }},
    {"delivered twice",
     [](Record &record, std::uint64_t random) {
         return changePoll(record, random, 1,
                           [](LookLog &look) { look.beams.push_back(look.beams.back()); });
     }},
    {"order swapped",
     [](Record &record, std::uint64_t random) {
         return changePoll(record, random, 2,
                           [](LookLog &look) { std::swap(look.beams[0], look.beams[1]); });
     }},
    {"text altered",
     [](Record &record, std::uint64_t random) {
         return changePoll(record, random, 1, [](LookLog &look) { ++look.beams[0].digest; });
     }},
    {"server_time back",
     [](Record &record, std::uint64_t random) {
         return changePoll(record, random, 1, [](LookLog &look) { look.serverTime -= 2; });
     }},
    {"in another circle",
     [](Record &record, std::uint64_t random) {
         return changePoll(record, random, 1, [&record](LookLog &look) {
             SeatLog other = record.seats[look.seat];
             other.circle = (other.circle + 1) % record.codes.size();
             record.seats.push_back(other);
             look.seat = record.seats.size() - 1;
         });
     }},
    {"capsule early",
     [](Record &record, std::uint64_t random) {
         return changeOne(record.looks, random,
                          [&record](LookLog &look) { return openEarly(record, look); });
     }},
    {"dead key honoured",
     [](Record &record, std::uint64_t random) {
         return changeOne(record.looks, random, [&record](LookLog &look) {
             const bool fits = look.status == 403 && look.span.begun > record.seats[look.seat].lost;
             return fits && (look.status = 200);
         });
     }},
    {"acknowledged, not kept",
     [](Record &record, std::uint64_t random) {
         return changeOne(record.sends, random, [](SendLog &send) {
             const bool fits = send.outcome == SendLog::Outcome::Refused;
             return fits && (send.outcome = SendLog::Outcome::Kept, true);
         });
     }},
    {"refused, yet kept",
     [](Record &record, std::uint64_t random) {
         return changeOne(record.sends, random, [](SendLog &send) {
             const bool fits = send.outcome == SendLog::Outcome::Kept;
             return fits && (send.outcome = SendLog::Outcome::Refused, true);
         });
     }},
}};

Verdict check(const Record &record)
{
    return Checker(record).run();
}

Delivered Row::delivered(bool sealed) const
{
    Row seen = *this;
    if (sealed)
        seen.body.clear();
    return {id, history::digest(seen), sealed, openAt};
}

std::uint64_t digest(const Row &beam)
{
    std::string all;
    for (const std::string *part :
         {&beam.id, &beam.fromMember, &beam.name, &beam.type, &beam.body, &beam.effect})
        all += std::to_string(part->size()) + ":" + *part;
    all += std::to_string(beam.createdAt) + " " + std::to_string(beam.openAt);
    return std::hash<std::string>()(all);
}

void readRows(const std::string &path, Record &record)
{
    sqlite3 *database = nullptr;
    if (sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK)
        throw std::runtime_error("the database cannot be opened");
    forEachRow(database, "PRAGMA integrity_check", [&](sqlite3_stmt *query) {
        if (textOf(query, 0) != "ok")
            record.complaints.push_back("the database is damaged: " + textOf(query, 0));
    });
    forEachRow(database,
               "SELECT c.code, b.id, b.from_member, b.from_handle || char(10) || b.from_emoji,"
               " b.type, b.body, b.effect, b.tick, b.created_at, b.open_at"
               " FROM beam b JOIN circle c ON c.number = b.circle ORDER BY b.circle, b.tick",
               [&](sqlite3_stmt *query) {
                   Row row;
                   std::string *texts[] = {&row.id,   &row.fromMember, &row.name,
                                           &row.type, &row.body,       &row.effect};
                   std::int64_t *numbers[] = {&row.tick, &row.createdAt, &row.openAt};
                   for (int i = 0; i < 6; ++i)
                       *texts[i] = textOf(query, i + 1);
                   for (int i = 0; i < 3; ++i)
                       *numbers[i] = sqlite3_column_int64(query, i + 7);
                   record.rows[textOf(query, 0)].push_back(std::move(row));
               });
    sqlite3_close(database);
}

} // namespace kivolo::server::history
