#include "core/store.h"

#include "api/kivolo_api.h"
#include "core/device_identity.h"
#include "core/reply.h"
#include "platform/foundation/task.h"

#include <algorithm>

namespace kivolo {

Store::Store(MainQueue &queue, UserDefaults &defaults, Overlays overlays)
    : queue_(queue)
    , overlays_(std::move(overlays))
    , deviceId_(deviceIdentity(defaults))
{}

Store::~Store()
{
    if (pollTask_)
        pollTask_->request_stop();
}

std::shared_ptr<Store> Store::create(MainQueue &queue, UserDefaults &defaults, Overlays overlays)
{
    auto store = prepare(queue, defaults, std::move(overlays));
    store->begin();
    return store;
}

std::shared_ptr<Store> Store::prepare(MainQueue &queue, UserDefaults &defaults, Overlays overlays)
{
    std::shared_ptr<Store> store(new Store(queue, defaults, std::move(overlays)));
    KivoloAPI::onForceUpdate = [weak = std::weak_ptr(store)](const QString &url) {
        if (const auto alive = weak.lock())
            alive->forceUpdate = url;
    };
    return store;
}

void Store::begin()
{
    detach(restore(), "restoring the session");
    detach(checkUpdate(), "the update check");
}

QCoro::Task<> Store::restore()
{
    const auto self = shared_from_this();
    const auto request = KivoloAPI::me(deviceId_);
    const auto status = co_await replyOrNothing(request);
    assertOnMainThread();
    if (!status || !status->joined || !status->circle_id || !status->member_id) {
        screen = Screen::onboarding;
        co_return;
    }
    circleId = *status->circle_id;
    memberId = *status->member_id;
    code = status->code.value_or(QString());
    handle = status->handle.value_or(QString());
    members = status->members.value_or(QList<Member>());
    maxSeats = status->max_seats.value_or(5);
    applyStatus(*status);
    screen = Screen::joined;
    startPolling();
}

QCoro::Task<> Store::refreshStatus()
{
    const auto self = shared_from_this();
    const quint64 stay = stay_;
    const auto request = KivoloAPI::me(deviceId_);
    const auto status = co_await replyOrNothing(request);
    assertOnMainThread();
    if (status && stay == stay_)
        applyStatus(*status);
}

void Store::applyStatus(const MeResponse &status)
{
    members = status.members.value_or(members.get());
    if (status.code)
        code = *status.code;
}

void Store::leave()
{
    if (pollTask_)
        pollTask_->request_stop();
    circleId = QString();
    memberId = QString();
    members = QList<Member>();
    code = QString();
    feed = QList<Beam>();
    screen = Screen::onboarding;
}

QString Store::myEmoji() const
{
    const auto self = std::find_if(members->begin(), members->end(), [this](const Member &member) {
        return member.id == memberId.get();
    });
    return self == members->end() ? QStringLiteral("💜") : self->emoji;
}

} // namespace kivolo
