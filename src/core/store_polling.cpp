// Polling, and what becomes of the beams it brings.
#include "api/kivolo_api.h"
#include "core/reply.h"
#include "core/store.h"
#include "platform/foundation/task.h"

#include <algorithm>

namespace kivolo {

using namespace std::chrono_literals;

namespace {

constexpr auto pollPause = 2s;
constexpr qint64 cyclesPerStatus = 6;

} // namespace

void Store::startPolling()
{
    if (pollTask_)
        pollTask_->request_stop();
    lastBeamTime_ = 0;
    popupsPrimed_ = false;
    seenBeamIds_.clear();
    pollTask_.emplace();
    detach(pollUntilStopped(weak_from_this(), &queue_, pollTask_->get_token()), "polling");
}

QCoro::Task<> Store::pollUntilStopped(std::weak_ptr<Store> weakStore, MainQueue *queue,
                                      std::stop_token stop)
{
    for (qint64 tick = 0; !stop.stop_requested(); ++tick) {
        if (const auto store = weakStore.lock())
            co_await store->poll(tick);
        co_await queue->sleep(pollPause, stop);
    }
}

QCoro::Task<> Store::poll(qint64 tick)
{
    const auto self = shared_from_this();
    if (screen != Screen::joined || circleId->isEmpty())
        co_return;
    // One second of overlap: the server's clock counts whole seconds, and what arrived later in
    // the last one would be missed. Repeated beams are dropped by their ids.
    const qint64 since = lastBeamTime_ > 0 ? lastBeamTime_ - 1 : 0;
    const quint64 stay = stay_;
    const auto task = pollTask_;
    const auto request = KivoloAPI::beams(circleId, memberId, since);
    const auto arrived = co_await replyOrNothing(request);
    // An answer to a polling that was replaced would prime the new one, whose own first answer
    // would then be shown as fresh.
    if (stay != stay_ || task != pollTask_)
        co_return;
    if (arrived)
        receive(*arrived);
    if (tick % cyclesPerStatus == 0)
        co_await refreshStatus();
}

void Store::receive(const BeamsResponse &reply)
{
    for (const Beam &beam : reply.beams) {
        if (seenBeamIds_.contains(beam.id))
            continue;
        seenBeamIds_.insert(beam.id);
        feed.mutate([&](QList<Beam> &beams) { beams.append(beam); });
        if (!popupsPrimed_)
            continue;
        if (beam.isSealed())
            surfaceCapsule(beam);
        else
            overlays_.show(beam, beam.isBuzz());
    }
    lastBeamTime_ = reply.server_time;
    popupsPrimed_ = true;
}

void Store::surfaceCapsule(const Beam &beam)
{
    overlays_.addCapsule(beam, [weak = weak_from_this()](const Beam &due) {
        if (const auto store = weak.lock())
            detach(openCapsule(store, due), "opening a capsule");
    });
}

QCoro::Task<> Store::openCapsule(std::shared_ptr<Store> store, Beam sealed)
{
    const quint64 stay = store->stay_;
    const auto request = KivoloAPI::capsule(sealed.id, store->circleId);
    const auto opened = co_await replyOrNothing(request);
    if (opened && stay == store->stay_)
        store->revealCapsule(*opened);
}

void Store::revealCapsule(const Beam &beam)
{
    feed.mutate([&](QList<Beam> &beams) {
        const auto known = std::find_if(beams.begin(), beams.end(),
                                        [&](const Beam &other) { return other.id == beam.id; });
        if (known == beams.end())
            beams.append(beam);
        else
            *known = beam;
    });
    overlays_.show(beam, false);
}

} // namespace kivolo
