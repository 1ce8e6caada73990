#include "record.h"

#include <algorithm>
#include <boost/json/parse.hpp>
#include <functional>
#include <sqlite3.h>
#include <stdexcept>
#include <unordered_map>

namespace kivolo::server::history {

namespace json = boost::json;
using Outcome = SendLog::Outcome;
using Kind = LookLog::Kind;

namespace {

// What the two programs' views of one clock can be apart, and what a step takes to be seen.
constexpr Moment slack = second / 10;

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
        , rowOfSend_(record.sends.size())
        , known_(record.codes.size())
    {
        verdict_.complaints = record.complaints;
    }

    Verdict run()
    {
        for (std::size_t i = 0; i < record_.sends.size(); ++i)
            sendOfBody_.emplace(record_.sends[i].beam.body, i);
        for (const std::vector<Beam> &rows : record_.rows) {
            for (const Beam &row : rows)
                matchRow(row);
        }
        for (auto &known : known_) {
            std::sort(known.begin(), known.end());
            for (std::size_t i = 1; i < known.size(); ++i)
                known[i].second = std::max(known[i].second, known[i - 1].second);
        }
        for (std::size_t i = 0; i < record_.sends.size(); ++i)
            checkSend(record_.sends[i], rowOfSend_[i]);
        for (const std::vector<Beam> &rows : record_.rows)
            checkOrder(rows);
        for (const LookLog &look : record_.looks)
            checkLook(look);
        checkDelays();
        return std::move(verdict_);
    }

private:
    void complain(const Span &span, const std::string &what)
    {
        constexpr std::size_t enough = 50;
        if (verdict_.complaints.size() < enough)
            verdict_.complaints.push_back(what + " (" + std::to_string(span.begun) + " to " +
                                          std::to_string(span.ended) + ")");
    }

    const SendLog *sendOf(const Beam &row) const
    {
        const auto found = sendOfBody_.find(row.body);
        return found == sendOfBody_.end() ? nullptr : &record_.sends[found->second];
    }

    /// The beam of that id, if it is one of the circle.
    const Beam *rowOf(const std::string &id, std::size_t circle) const
    {
        const auto found = rowOfId_.find(id);
        return found == rowOfId_.end() || found->second->circle != circle ? nullptr : found->second;
    }

    void matchRow(const Beam &row)
    {
        rowOfId_[row.id] = &row;
        const SendLog *send = sendOf(row);
        if (!send)
            return complain({}, "a beam that nobody sent: " + row.id);
        if (std::exchange(rowOfSend_[sendOfBody_[row.body]], &row))
            complain(send->span, "a beam was kept twice: " + row.id);
        const SeatLog &seat = record_.seats[send->seat];
        if (row.circle != seat.circle || row.fromMember != seat.member)
            complain(send->span, "a beam is in another place than it was sent to: " + row.id);
        const Beam &sent = send->beam;
        if (row.type != sent.type || row.effect != sent.effect || row.openAt != sent.openAt)
            complain(send->span, "a beam was altered: " + row.id);
        if (send->outcome != Outcome::Kept)
            return; // it may have been taken after the sender's next change of name
        if (!send->names.contains(row.name))
            complain(send->span, "a beam has another sender's name: " + row.id + " " + row.name);
        known_[row.circle].emplace_back(send->span.ended, row.tick);
    }

    void checkSend(const SendLog &send, const Beam *row)
    {
        const Beam &sent = send.beam;
        const SeatLog &seat = record_.seats[send.seat];
        switch (send.outcome) {
        case Outcome::Kept: {
            ++verdict_.counts["beams acknowledged"];
            if (!row || row->id != sent.id)
                complain(send.span, "an acknowledged beam is gone: " + sent.id);
            if (send.span.begun > seat.lost)
                complain(send.span, "a beam was sent from a seat that was given up: " + sent.id);
            if (row && row->createdAt != sent.createdAt)
                complain(send.span, "a beam's time was told differently: " + sent.id);
            const Span clock = clockOf(record_, send.server, send.span);
            if (sent.createdAt * second < clock.begun - second - slack ||
                sent.createdAt * second > clock.ended + slack)
                complain(send.span, "a beam has a time that was never: " + sent.id);
            break;
        }
        case Outcome::Refused:
        case Outcome::Cut:
            ++verdict_.counts[send.outcome == Outcome::Cut ? "beams that never arrived as a whole"
                                                           : "beams refused"];
            if (row)
                complain(send.span, "a beam was kept though it was refused with " +
                                        std::to_string(send.status));
            if (send.status == 403 && send.span.ended < seat.doubtful)
                complain(send.span, "a member was refused");
            break;
        case Outcome::Unsure:
            ++verdict_.counts[row ? "beams unsure, and kept" : "beams unsure, and not kept"];
            break;
        }
        const Beam *before = send.after ? rowOfSend_[*send.after] : nullptr;
        if (before && row && before->tick > row->tick)
            complain(send.span, "beams of one connection changed places");
    }

    // What was acknowledged before another was sent stands before it.
    void checkOrder(const std::vector<Beam> &rows)
    {
        Moment acknowledged = never;
        for (std::size_t i = rows.size(); i-- > 0;) {
            const SendLog *send = sendOf(rows[i]);
            if (!send)
                continue;
            if (send->span.begun > acknowledged)
                complain(send->span, "a beam stands before an older one: " + rows[i].id);
            if (send->outcome == Outcome::Kept)
                acknowledged = std::min(acknowledged, send->span.ended);
            if (i > 0 && rows[i - 1].tick >= rows[i].tick)
                complain(send->span, "two beams have one place: " + rows[i].id);
        }
    }

    void checkLook(const LookLog &look)
    {
        const SeatLog &seat = record_.seats[look.seat];
        const bool foreign = look.kind == Kind::Foreign;
        if (look.status == 403 && look.kind != Kind::Capsule) {
            ++verdict_.counts["dead or foreign keys refused"];
            if (!foreign && look.span.ended < seat.doubtful)
                complain(look.span, "a member was refused");
        }
        if (look.status != 200) {
            const std::set<unsigned> expected{0, 403, foreign ? 404u : 0u, 429, 503};
            if (!expected.contains(look.status))
                complain(look.span, "an unexpected status " + std::to_string(look.status));
            return;
        }
        if (foreign || look.span.begun > seat.lost)
            return complain(look.span, "what must open nothing has opened something");
        if (look.kind == Kind::Poll)
            checkPoll(look, seat);
        else if (look.kind == Kind::History)
            checkHistory(look, seat);
        for (const Delivered &beam : look.beams)
            checkBeam(look, seat, beam);
    }

    using Row = std::vector<Beam>::const_iterator;

    Row behind(std::size_t circle, std::int64_t tick) const
    {
        const std::vector<Beam> &rows = record_.rows[circle];
        return std::upper_bound(rows.begin(), rows.end(), tick,
                                [](std::int64_t t, const Beam &row) { return t < row.tick; });
    }

    // The reply to `since` has just what came after that, up to the tick that it says it covers;
    // polls follow each other without a gap, so this is each beam once and in one order for all.
    void checkPoll(const LookLog &look, const SeatLog &seat)
    {
        constexpr std::ptrdiff_t firstPoll = 200;
        ++verdict_.counts["polls"];
        verdict_.counts["deliveries"] += look.beams.size();
        const Row first = record_.rows[seat.circle].begin();
        const Row end = behind(seat.circle, look.serverTime - 1);
        if (end != first && std::prev(end)->tick != look.serverTime - 1)
            complain(look.span, "a server_time of no beam");
        if (look.serverTime <= look.asked)
            complain(look.span, "server_time went back");
        Row row = look.asked > 0 ? behind(seat.circle, look.asked)
                                 : end - std::min(end - first, firstPoll);
        std::vector<std::string> expected;
        for (; row < end; ++row) {
            if (row->fromMember == seat.member)
                continue;
            expected.push_back(row->id);
            noteDelay(look, *row);
        }
        requireThese(look, expected, seat.circle, look.serverTime - 1);
    }

    void checkHistory(const LookLog &look, const SeatLog &seat)
    {
        const Beam *last = look.beams.empty() ? nullptr : rowOf(look.beams.back().id, seat.circle);
        if (!last && !look.beams.empty())
            return complain(look.span, "a history ends with a beam of elsewhere");
        const std::int64_t tick = last ? last->tick : 0;
        const Row end = behind(seat.circle, tick);
        std::vector<std::string> expected;
        for (Row row = end - std::min(end - record_.rows[seat.circle].begin(), look.asked);
             row < end; ++row)
            expected.push_back(row->id);
        requireThese(look, expected, seat.circle, tick);
    }

    /// That the look, which reaches to that tick, has just these, and that what was acknowledged
    /// before it began does not lie behind it.
    void requireThese(const LookLog &look, const std::vector<std::string> &expected,
                      std::size_t circle, std::int64_t tick)
    {
        const auto &known = known_[circle];
        const auto after = std::partition_point(known.begin(), known.end(), [&](const auto &beam) {
            return beam.first < look.span.begun;
        });
        if (after != known.begin() && std::prev(after)->second > tick)
            complain(look.span, "an acknowledged beam was not delivered: tick " +
                                    std::to_string(std::prev(after)->second));
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
        const Beam *row = rowOf(beam.id, seat.circle);
        if (!row)
            return complain(look.span, "a beam of elsewhere: " + beam.id);
        Beam shown = *row;
        if (beam.sealed)
            shown.body.clear();
        if (beam.digest != Delivered(shown).digest)
            complain(look.span, "a beam came altered: " + beam.id);
        if (row->openAt == 0)
            return;
        const Span clock = clockOf(record_, look.server, look.span);
        if (!beam.sealed && clock.ended + slack < row->openAt * second)
            complain(look.span, "a capsule was readable early: " + beam.id);
        if (beam.sealed && clock.begun - slack >= row->openAt * second)
            complain(look.span, "a capsule stayed sealed: " + beam.id);
        ++verdict_.counts[beam.sealed ? "looks at sealed capsules" : "looks at opened capsules"];
    }

    // Of polls that were waiting when the beam was accepted, by the same process.
    void noteDelay(const LookLog &look, const Beam &row)
    {
        const SendLog *send = sendOf(row);
        if (send && send->outcome == Outcome::Kept && send->server == look.server &&
            look.span.begun < send->span.begun)
            delays_.push_back(std::max<Moment>(0, look.span.ended - send->span.ended));
    }

    // Whoever waits hears of a beam when it is accepted, not when the waiting is over. Stalls and a
    // busy machine delay some, but not most.
    void checkDelays()
    {
        if (delays_.empty())
            return;
        std::sort(delays_.begin(), delays_.end());
        for (const std::size_t percent : {std::size_t{50}, std::size_t{99}})
            verdict_.counts["microseconds from a beam's reply to a waiting poll's, percentile " +
                            std::to_string(percent)] =
                static_cast<std::size_t>(delays_[delays_.size() * percent / 100]);
        if (delays_[delays_.size() / 2] > second / 4)
            complain({}, "waiting polls do not hear of beams");
    }

    const Record &record_;
    Verdict verdict_;
    std::unordered_map<std::string, std::size_t> sendOfBody_;
    std::unordered_map<std::string, const Beam *> rowOfId_;
    std::vector<const Beam *> rowOfSend_;
    /// Of each circle: when a beam was acknowledged, and the highest tick of those until then.
    std::vector<std::vector<std::pair<Moment, std::int64_t>>> known_;
    std::vector<Moment> delays_;
};

bool openEarly(const Record &record, LookLog &look)
{
    const Span clock = clockOf(record, look.server, look.span);
    for (Delivered &beam : look.beams) {
        for (const Beam &row : record.rows[record.seats[look.seat].circle]) {
            if (row.id == beam.id && row.openAt * second > clock.ended + second) {
                beam = Delivered(row);
                return true;
            }
        }
    }
    return false;
}

bool falsifyOne(Record &record, const std::string &falsehood, LookLog &look, SendLog &send)
{
    const bool poll = look.kind == Kind::Poll && !look.beams.empty();
    if (falsehood == "lost" && poll) {
        look.beams.pop_back();
    } else if (falsehood == "delivered twice" && poll) {
        look.beams.push_back(look.beams.back());
    } else if (falsehood == "order swapped" && poll && look.beams.size() > 1) {
        std::swap(look.beams[0], look.beams[1]);
    } else if (falsehood == "text altered" && poll) {
        ++look.beams[0].digest;
    } else if (falsehood == "server_time back" && poll) {
        look.serverTime -= 2;
    } else if (falsehood == "in another circle" && poll) {
        record.seats.push_back(record.seats[look.seat]);
        record.seats.back().circle = (record.seats.back().circle + 1) % record.codes.size();
        look.seat = record.seats.size() - 1;
    } else if (falsehood == "dead key honoured" && look.status == 403 &&
               look.span.begun > record.seats[look.seat].lost) {
        look.status = 200;
    } else if (falsehood == "acknowledged, not kept" && send.outcome == Outcome::Refused) {
        send.outcome = Outcome::Kept;
    } else if (falsehood == "refused, yet kept" && send.outcome == Outcome::Kept) {
        send.outcome = Outcome::Refused;
    } else {
        return falsehood == "capsule early" && openEarly(record, look);
    }
    return true;
}

} // namespace

const std::vector<std::string> falsehoods{"lost",
                                          "delivered twice",
                                          "order swapped",
                                          "text altered",
                                          "server_time back",
                                          "in another circle",
                                          "capsule early",
                                          "dead key honoured",
                                          "acknowledged, not kept",
                                          "refused, yet kept"};

bool falsify(Record &record, const std::string &falsehood, std::uint64_t random)
{
    const std::size_t looks = record.looks.size();
    const std::size_t sends = record.sends.size();
    for (std::size_t i = random; sends > 0 && i < random + looks + sends; ++i) {
        if (falsifyOne(record, falsehood, record.looks[i % looks], record.sends[i % sends]))
            return true;
    }
    return false;
}

Verdict check(const Record &record)
{
    return Checker(record).run();
}

Delivered::Delivered(const Beam &beam)
    : id(beam.id)
    , sealed(beam.sealed)
{
    std::string all;
    for (const std::string *part :
         {&beam.id, &beam.fromMember, &beam.name, &beam.type, &beam.body, &beam.effect})
        all += std::to_string(part->size()) + ":" + *part;
    all += std::to_string(beam.createdAt) + " " + std::to_string(beam.openAt);
    digest = std::hash<std::string>()(all);
}

std::string textAt(const json::value &object, const char *key)
{
    const json::value *value = object.as_object().if_contains(key);
    return value && value->is_string() ? std::string(value->as_string()) : std::string();
}

std::int64_t numberAt(const json::value &object, const char *key)
{
    const json::value *value = object.as_object().if_contains(key);
    return value && value->is_int64() ? value->as_int64() : 0;
}

std::string nameIn(const json::value &member, const char *handle, const char *emoji)
{
    return textAt(member, handle) + "\n" + textAt(member, emoji);
}

Beam beamIn(const json::value &object)
{
    return {.id = textAt(object, "id"),
            .fromMember = textAt(object, "from_member"),
            .name = nameIn(object, "from_handle", "from_emoji"),
            .type = textAt(object, "type"),
            .body = textAt(object, "body"),
            .effect = textAt(object, "effect"),
            .createdAt = numberAt(object, "created_at"),
            .openAt = numberAt(object, "open_at"),
            .tick = numberAt(object, "tick"),
            .sealed = numberAt(object, "sealed") == 1};
}

void readRows(const std::string &path, Record &record)
{
    static constexpr const char *beams =
        "SELECT c.code, json_object('id', b.id, 'from_member', b.from_member,"
        " 'from_handle', b.from_handle, 'from_emoji', b.from_emoji, 'type', b.type,"
        " 'body', b.body, 'effect', b.effect, 'tick', b.tick, 'created_at', b.created_at,"
        " 'open_at', b.open_at)"
        " FROM beam b JOIN circle c ON c.number = b.circle ORDER BY b.circle, b.tick";
    const auto addRow = [](void *to, int, char **values, char **) {
        auto &read = *static_cast<Record *>(to);
        const auto code = std::find(read.codes.begin(), read.codes.end(), values[0]);
        Beam row = beamIn(json::parse(values[1]));
        row.circle = static_cast<std::size_t>(code - read.codes.begin());
        if (code == read.codes.end())
            read.complaints.push_back("a beam is in a circle that nobody knows: " + row.id);
        else
            read.rows[row.circle].push_back(std::move(row));
        return 0;
    };
    const auto addDamage = [](void *to, int, char **values, char **) {
        if (std::string(values[0]) != "ok")
            static_cast<Record *>(to)->complaints.push_back("the database is damaged: " +
                                                            std::string(values[0]));
        return 0;
    };
    record.rows.resize(record.codes.size());
    sqlite3 *database = nullptr;
    if (sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK ||
        sqlite3_exec(database, "PRAGMA integrity_check", addDamage, &record, nullptr) != 0 ||
        sqlite3_exec(database, beams, addRow, &record, nullptr) != SQLITE_OK)
        throw std::runtime_error(std::string("the database: ") + sqlite3_errmsg(database));
    sqlite3_close(database);
}

} // namespace kivolo::server::history
