// Waiting for a reply in the main thread, with its failure as a value.
#pragma once

#include "platform/foundation/localized_error.h"
#include "platform/foundation/main_queue.h"

#include <QCoro/QCoroFuture>
#include <QCoro/QCoroTask>
#include <QFuture>
#include <exception>
#include <optional>

namespace kivolo {

/// The reply, or nothing: what the program asks by itself fails in silence, because it asks again
/// at its next occasion.
template<typename Reply>
QCoro::Task<std::optional<Reply>> replyOrNothing(QFuture<Reply> future)
{
    std::optional<Reply> reply;
    try {
        reply = co_await future;
    } catch (const std::exception &) {
        // Dropped on purpose, see above.
    }
    assertOnMainThread();
    co_return reply;
}

/// How a request that the user started ended: with a reply, or with the text to show.
template<typename Reply>
struct Outcome
{
    std::optional<Reply> reply;
    QString error;
};

template<typename Reply>
QCoro::Task<Outcome<Reply>> outcomeOf(QFuture<Reply> future)
{
    Outcome<Reply> outcome;
    try {
        outcome.reply = co_await future;
    } catch (const std::exception &error) {
        outcome.error = localizedDescription(error);
    }
    assertOnMainThread();
    co_return outcome;
}

} // namespace kivolo
