// Sending a beam, and the history.
#include "api/kivolo_api.h"
#include "core/reply.h"
#include "core/store.h"
#include "platform/foundation/environment.h"

namespace kivolo {

namespace {

constexpr qint64 historyLimit = 40;

} // namespace

QCoro::Task<> Store::send(Draft draft)
{
    const auto self = shared_from_this();
    if (circleId->isEmpty() || memberId->isEmpty())
        co_return;
    sending = true;
    const QString circle = circleId;
    const auto request =
        KivoloAPI::send(circle, memberId, draft.type, draft.body, draft.effect, draft.openAt);
    const auto sent = co_await outcomeOf(request);
    if (!sent.reply) {
        errorText = sent.error;
        co_await refreshStatus();
        sending = false;
        co_return;
    }
    if (!circleId->isEmpty() && circleId.get() != circle) {
        sending = false; // it is in a circle that was left for another
        co_return;
    }
    Beam beam;
    beam.id = sent.reply->id ? *sent.reply->id : randomUuid();
    beam.created_at = sent.reply->created_at ? *sent.reply->created_at : queue_.now();
    beam.from_member = memberId;
    beam.from_handle = handle;
    beam.from_emoji = myEmoji();
    beam.type = draft.type;
    beam.body = draft.body;
    beam.effect = draft.effect;
    beam.open_at = draft.openAt;
    feed.mutate([&](QList<Beam> &beams) { beams.append(beam); });
    seenBeamIds_.insert(beam.id);
    sending = false;
}

QCoro::Task<> Store::loadHistory()
{
    const auto self = shared_from_this();
    if (circleId->isEmpty())
        co_return;
    const quint64 stay = stay_;
    const auto request = KivoloAPI::history(circleId, historyLimit);
    const auto history = co_await replyOrNothing(request);
    if (!history || stay != stay_)
        co_return;
    feed = history->beams;
    const qint64 now = queue_.now();
    for (const Beam &beam : history->beams)
        seenBeamIds_.insert(beam.id);
    for (const Beam &beam : history->beams) {
        if (beam.isSealed() && beam.from_member != memberId.get() && beam.open_at.value_or(0) > now)
            surfaceCapsule(beam);
    }
}

} // namespace kivolo
