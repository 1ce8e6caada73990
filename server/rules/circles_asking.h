// How a rule is put to the ledger, and what came of it told.
#pragma once

#include "circles.h"

namespace kivolo::server {

using Watch = std::chrono::steady_clock;

/// Tells what came of something that puts its result there, and how long that took since then.
template<typename Result>
Ledger::Done telling(std::shared_ptr<std::optional<Result>> result, Done<Result> done,
                     Durations &took, Watch::time_point asked)
{
    return [result = std::move(result), done = std::move(done), &took,
            asked](std::exception_ptr failure) {
        took.add(Watch::now() - asked);
        done(failure ? Outcome<Result>(failure) : Outcome<Result>(std::move(**result)));
    };
}

/// Tells what the step makes of a result, and failures as they are.
template<typename Result, typename Told, typename Step>
Done<Result> after(Done<Told> done, Step step)
{
    return [done = std::move(done), step](Outcome<Result> outcome) {
        std::optional<Result> result;
        try {
            result = outcome.take();
        } catch (...) {
            done(Outcome<Told>(std::current_exception()));
            return;
        }
        done(Outcome<Told>(step(*result)));
    };
}

template<typename Result>
void Circles::change(std::function<Result(LedgerTransaction &, Seconds)> rule,
                     Ledger::JobFacts facts, Done<Result> done)
{
    auto result = std::make_shared<std::optional<Result>>();
    const Watch::time_point asked = Watch::now();
    ledger_.write(
        [rule = std::move(rule), result, asked, this](LedgerTransaction &ledger, Seconds now) {
            writes_.begun.add(Watch::now() - asked);
            *result = rule(ledger, now);
        },
        std::move(facts), telling(result, std::move(done), writes_.done, asked));
}

template<typename Result>
void Circles::look(std::function<Result(LedgerView &)> rule, Done<Result> done)
{
    auto result = std::make_shared<std::optional<Result>>();
    const Watch::time_point asked = Watch::now();
    ledger_.read(
        [rule = std::move(rule), result, asked, this](LedgerView &ledger) {
            reads_.begun.add(Watch::now() - asked);
            *result = rule(ledger);
        },
        telling(result, std::move(done), reads_.done, asked));
}

} // namespace kivolo::server
