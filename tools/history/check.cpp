#include "record.h"

#include <algorithm>
#include <boost/json/parse.hpp>
#include <sqlite3.h>
#include <stdexcept>
#include <unordered_map>

namespace kivolo::server::history {

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

/// When it can be opened; 0 for what is no capsule.
Moment openingOf(const Row &row)
{
    const json::value *time = row.beam.if_contains("open_at");
    return time ? time->as_int64() * second : 0;
}

/// How many of these have no later tick.
std::size_t countUpTo(const std::vector<Row> &rows, std::int64_t tick)
{
    const auto end = std::partition_point(rows.begin(), rows.end(),
                                          [tick](const Row &row) { return row.tick <= tick; });
    return static_cast<std::size_t>(end - rows.begin());
}

class Checker
{
public:
    explicit Checker(Record &record)
        : record_(record)
        , rowOfSend_(record.sends.size())
    {}

    void run()
    {
        for (std::size_t i = 0; i < record_.sends.size(); ++i)
            sendOfBody_.emplace(textAt(record_.sends[i].beam, "body"), i);
        for (const std::vector<Row> &rows : record_.rows) {
            for (const Row &row : rows)
                matchRow(row);
        }
        for (std::size_t i = 0; i < record_.sends.size(); ++i)
            checkSend(record_.sends[i], rowOfSend_[i]);
        for (const std::vector<Row> &rows : record_.rows)
            checkOrder(rows);
        for (const LookLog &look : record_.looks)
            checkLook(look);
        checkDelays();
        for (const char *what :
             {"polls", "deliveries", "beams refused", "beams that never arrived as a whole",
              "looks at sealed capsules", "looks at opened capsules", "foreign tries refused",
              "tries of dead keys refused"}) {
            if (!record_.counts.contains(std::string("checked: ") + what))
                complain({}, std::string("there were no ") + what);
        }
    }

private:
    void complain(const Span &span, const std::string &what)
    {
        constexpr std::size_t enough = 200;
        ++record_.counts["checked: complaints"];
        if (record_.complaints.size() < enough)
            record_.complaints.push_back(what + " (" + std::to_string(span.begun) + " to " +
                                         std::to_string(span.ended) + ")");
    }
    void count(const std::string &what) { ++record_.counts["checked: " + what]; }

    const SendLog *sendOf(const Row &row) const
    {
        const auto found = sendOfRow_.find(&row);
        return found == sendOfRow_.end() ? nullptr : &record_.sends[found->second];
    }

    void matchRow(const Row &row)
    {
        const std::string id = textAt(row.beam, "id");
        rowOfId_[id] = &row;
        const auto found = sendOfBody_.find(textAt(row.beam, "body"));
        if (found == sendOfBody_.end())
            return complain({}, "a beam that nobody sent: " + id);
        const SendLog &send = record_.sends[found->second];
        sendOfRow_[&row] = found->second;
        if (std::exchange(rowOfSend_[found->second], &row))
            complain(send.span, "a beam was kept twice: " + id);
        if (row.circle != record_.seats[send.seat].circle)
            complain(send.span, "a beam is in another circle than it was sent to: " + id);
        // Of one that was not acknowledged its sender knows neither id nor time, nor under which
        // of two names it came.
        const std::size_t unknown = send.outcome == Outcome::Kept ? 0 : 4;
        bool same = row.beam.size() == send.beam.size() + unknown;
        for (const auto &[key, value] : send.beam)
            same = same && row.beam.contains(key) && row.beam.at(key) == value;
        if (!same)
            complain(send.span, "a beam was altered: " + id);
    }

    void checkSend(const SendLog &send, const Row *row)
    {
        const SeatLog &seat = record_.seats[send.seat];
        const Row *before = send.after ? rowOfSend_[*send.after] : nullptr;
        if (before && row && before->tick > row->tick)
            complain(send.span, "beams of one connection changed places");
        if (send.outcome == Outcome::Kept) {
            count("beams acknowledged");
            if (!row)
                complain(send.span, "an acknowledged beam is gone");
            if (send.span.begun > seat.lost)
                complain(send.span, "a beam was sent from a seat that was given up");
            const Span clock = clockOf(record_, send.server, send.span);
            const Moment created = send.beam.at("created_at").as_int64() * second;
            if (created < clock.begun - second - slack || created > clock.ended + slack)
                complain(send.span, "a beam has a time that was never, of server " +
                                        std::to_string(send.server) + ": " +
                                        std::to_string(created - clock.begun) + " after it");
        } else if (send.outcome == Outcome::Unsure) {
            count(row ? "beams unsure, and kept" : "beams unsure, and not kept");
        } else {
            count(send.outcome == Outcome::Cut ? "beams that never arrived as a whole"
                                               : "beams refused");
            if (row)
                complain(send.span, "a beam was kept though it was refused with " +
                                        std::to_string(send.status));
            if (send.status == 403 && send.span.ended < seat.doubtful)
                complain(send.span, "a member was refused");
        }
    }

    // What was acknowledged before another was sent stands before it.
    void checkOrder(const std::vector<Row> &rows)
    {
        Moment acknowledged = never;
        for (std::size_t i = rows.size(); i-- > 0;) {
            const SendLog *send = sendOf(rows[i]);
            if (!send)
                continue;
            if (send->span.begun > acknowledged)
                complain(send->span, "a beam stands before an older one");
            if (send->outcome == Outcome::Kept)
                acknowledged = std::min(acknowledged, send->span.ended);
            if (i > 0 && rows[i - 1].tick >= rows[i].tick)
                complain(send->span, "two beams have one place");
        }
    }

    void checkLook(const LookLog &look)
    {
        const SeatLog &seat = record_.seats[look.seat];
        const bool foreign = look.kind == Kind::Foreign;
        if (look.status == 200 && (foreign || look.span.begun > seat.lost))
            return complain(look.span, "what must open nothing has opened something");
        if (look.status == 200)
            return checkReply(look, seat);
        if (foreign) {
            count("foreign tries refused");
        } else if (look.status == 403 && look.kind != Kind::Capsule) {
            count("tries of dead keys refused");
            if (look.span.ended < seat.doubtful)
                complain(look.span, "a member was refused");
        }
        const unsigned expected[] = {403, 429, 503, foreign ? 404u : 403u};
        if (std::ranges::find(expected, look.status) == std::end(expected))
            complain(look.span, "an unexpected status " + std::to_string(look.status));
    }

    // A poll has just what came after its `since`, up to the tick that it says it covers; polls
    // follow each other without a gap, so this is each beam once and in one order for all. A
    // history has the last ones up to its own last, and what was acknowledged before either began
    // does not lie behind its end.
    void checkReply(const LookLog &look, const SeatLog &seat)
    {
        constexpr std::size_t firstPoll = 200;
        const bool poll = look.kind == Kind::Poll;
        const std::vector<Row> &rows = record_.rows[seat.circle];
        const auto last = rowOfId_.find(look.beams.empty() ? "" : look.beams.back().id);
        const std::int64_t tick = poll                     ? look.serverTime - 1
                                  : last == rowOfId_.end() ? 0
                                                           : last->second->tick;
        const std::size_t end = countUpTo(rows, tick);
        const std::size_t most = poll                         ? firstPoll
                                 : look.kind == Kind::Capsule ? 1
                                                              : std::size_t(look.asked);
        std::size_t at = end - std::min(end, most);
        if (poll) {
            count("polls");
            if (look.asked > 0)
                at = countUpTo(rows, look.asked);
            if (look.serverTime <= look.asked || (end > 0 && rows[end - 1].tick != tick))
                complain(look.span, "a server_time went back, or is of no beam");
        }
        std::vector<const Row *> expected;
        for (; at < end; ++at) {
            if (!poll || textAt(rows[at].beam, "from_member") != seat.member)
                expected.push_back(&rows[at]);
        }
        const auto isSame = [](const Delivered &beam, const Row *row) {
            return beam.id == textAt(row->beam, "id");
        };
        if (!std::ranges::equal(look.beams, expected, isSame))
            return complain(look.span, "a reply has other beams than it should: " +
                                           std::to_string(look.beams.size()) + " instead of " +
                                           std::to_string(expected.size()));
        for (std::size_t i = 0; i < expected.size(); ++i)
            checkBeam(look, *expected[i], look.beams[i]);
        for (at = end; at < rows.size() && look.kind != Kind::Capsule; ++at) {
            const SendLog *send = sendOf(rows[at]);
            if (send && send->outcome == Outcome::Kept && send->span.ended < look.span.begun)
                complain(look.span, "an acknowledged beam was not delivered");
        }
    }

    void checkBeam(const LookLog &look, const Row &row, const Delivered &beam)
    {
        count("deliveries");
        json::object shown = row.beam;
        if (beam.sealed)
            shown["body"] = "";
        if (beam.digest != Delivered(std::move(shown)).digest)
            complain(look.span, "a beam came altered: " + beam.id);
        // Of polls that were waiting when the beam was accepted, by the same process.
        const SendLog *send = sendOf(row);
        if (look.kind == Kind::Poll && send && send->outcome == Outcome::Kept &&
            send->server == look.server && look.span.begun < send->span.begun)
            delays_.push_back(std::max<Moment>(0, look.span.ended - send->span.ended));
        const Moment opening = openingOf(row);
        if (opening == 0)
            return;
        const Span clock = clockOf(record_, look.server, look.span);
        if (!beam.sealed && clock.ended + slack < opening)
            complain(look.span, "a capsule was readable early: " + beam.id);
        if (beam.sealed && clock.begun - slack >= opening)
            complain(look.span, "a capsule stayed sealed: " + beam.id);
        count(beam.sealed ? "looks at sealed capsules" : "looks at opened capsules");
    }

    // Whoever waits hears of a beam when it is accepted, not when the waiting is over. Stalls and a
    // busy machine delay some, but not most.
    void checkDelays()
    {
        std::ranges::sort(delays_);
        const Moment median = delays_.empty() ? 0 : delays_[delays_.size() / 2];
        record_.counts["checked: microseconds until half of the waiting polls heard of a beam"] =
            static_cast<std::size_t>(median);
        if (median > second / 4)
            complain({}, "waiting polls do not hear of beams");
    }

    Record &record_;
    std::unordered_map<std::string, std::size_t> sendOfBody_;
    std::unordered_map<std::string, const Row *> rowOfId_;
    std::unordered_map<const Row *, std::size_t> sendOfRow_;
    std::vector<const Row *> rowOfSend_;
    std::vector<Moment> delays_;
};

} // namespace

void check(Record &record)
{
    Checker(record).run();
}

Delivered::Delivered(json::object beam)
    : id(textAt(beam, "id"))
    , sealed(beam.erase("sealed") > 0)
    , digest(std::hash<json::object>()(beam))
{}

std::string textAt(const json::value &object, const char *key)
{
    return std::string(object.at(key).as_string());
}

} // namespace kivolo::server::history
