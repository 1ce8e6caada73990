#include "core/store.h"

#include "api/kivolo_api.h"
#include "core/reply.h"
#include "platform/foundation/task.h"

#include <algorithm>

namespace kivolo {

using namespace std::chrono_literals;

static constexpr auto refreshPause = 3s;

Store::Store(MainQueue &queue, QString deviceId, Overlays overlays)
    : queue_(queue)
    , overlays_(std::move(overlays))
    , deviceId_(std::move(deviceId))
{}

Store::~Store()
{
    if (pollTask_)
        pollTask_->request_stop();
}

std::shared_ptr<Store> Store::create(MainQueue &queue, QString deviceId, Overlays overlays)
{
    std::shared_ptr<Store> store(new Store(queue, std::move(deviceId), std::move(overlays)));
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

QCoro::Task<> Store::refreshStatus(std::stop_token stop)
{
    const auto self = shared_from_this();
    const quint64 stay = stay_;
    const auto request = KivoloAPI::me(deviceId_);
    const auto status = co_await replyOrNothing(request);
    if (status && stay == stay_ && !stop.stop_requested())
        applyStatus(*status);
}

QCoro::Task<> Store::refreshStatusAndHistory(std::stop_token stop)
{
    const auto self = shared_from_this();
    co_await refreshStatus(stop);
    if (!stop.stop_requested())
        co_await loadHistory();
}

QCoro::Task<> Store::refreshUntilJoined(std::stop_token stop)
{
    const auto self = shared_from_this();
    while (!stop.stop_requested() && members->size() < 2) {
        co_await refreshStatus(stop);
        co_await queue_.sleep(refreshPause, stop);
    }
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
    return self == members->end() ? defaultEmoji() : self->emoji;
}

} // namespace kivolo
