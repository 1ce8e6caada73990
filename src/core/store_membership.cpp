// Starting and joining a circle.
#include "api/kivolo_api.h"
#include "core/reply.h"
#include "core/store.h"

#include <QCoreApplication>
#include <algorithm>

namespace kivolo {

namespace {

/// Without space separators and tabs at its ends; line breaks stay.
QString trimmedOfSpaces(const QString &text)
{
    const auto isSpace = [](QChar c) {
        return c == u'\t' || c.category() == QChar::Separator_Space;
    };
    const auto first = std::find_if_not(text.begin(), text.end(), isSpace);
    const auto last = std::find_if_not(text.rbegin(), std::make_reverse_iterator(first), isSpace);
    return QString(first, last.base() - first);
}

} // namespace

QCoro::Task<> Store::createCircle()
{
    const auto self = shared_from_this();
    errorText = std::nullopt;
    if (trimmedOfSpaces(handle).isEmpty()) {
        errorText = QCoreApplication::translate("Store", "Enter your name first.");
        co_return;
    }
    const auto request = KivoloAPI::createCircle(std::nullopt, deviceId_);
    const auto created = co_await outcomeOf(request);
    if (!created.reply) {
        errorText = created.error;
        co_return;
    }
    code = created.reply->code;
    co_await join();
}

QCoro::Task<> Store::join()
{
    const auto self = shared_from_this();
    errorText = std::nullopt;
    // QString's upper-casing is Unicode's full mapping, whatever the user's locale.
    const QString inviteCode = trimmedOfSpaces(code).toUpper();
    const QString name = trimmedOfSpaces(handle);
    if (inviteCode.isEmpty() || name.isEmpty()) {
        errorText = QCoreApplication::translate("Store", "Enter your name and a code.");
        co_return;
    }
    const auto request = KivoloAPI::join(inviteCode, name, deviceId_, defaultEmoji());
    const auto joined = co_await outcomeOf(request);
    if (!joined.reply) {
        errorText = joined.error;
        co_return;
    }
    if (circleId.get() != joined.reply->circle_id)
        ++stay_;
    circleId = joined.reply->circle_id;
    memberId = joined.reply->member_id;
    code = joined.reply->code;
    members = joined.reply->members;
    maxSeats = joined.reply->max_seats;
    screen = Screen::joined;
    co_await refreshStatus();
    startPolling();
}

} // namespace kivolo
