// What the views ask of the session beyond one call of the store.
#pragma once

#include "platform/foundation/main_queue.h"

#include <QCoro/QCoroTask>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

namespace kivolo {

class Store;

/// Brings the members up to date, then the feed. Once `stop` is requested it begins and applies
/// nothing more.
QCoro::Task<> refreshStatusAndHistory(std::shared_ptr<Store> store, std::stop_token stop);

/// Asks for the members every 3 seconds until there are two, or until `stop` is requested. `queue`
/// must outlive the event loop.
QCoro::Task<> refreshUntilJoined(std::shared_ptr<Store> store, MainQueue *queue,
                                 std::stop_token stop);

/// What a member is about to send.
struct Draft
{
    QString type;
    QString body;
    std::optional<QString> effect = {};
    std::optional<qint64> openAt = {};
};

/// Sends `draft`, then calls `sent`, accepted or not. A view guards what `sent` does against its
/// own end.
QCoro::Task<> sendDraft(std::shared_ptr<Store> store, Draft draft, std::function<void()> sent);

} // namespace kivolo
