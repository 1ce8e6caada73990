#include "views/session_tasks.h"

#include "api/kivolo_api.h"
#include "core/reply.h"
#include "core/store.h"

namespace kivolo {

using namespace std::chrono_literals;

static constexpr auto refreshPause = 3s;

static QCoro::Task<> refreshStatus(std::shared_ptr<Store> store, std::stop_token stop)
{
    auto asked = KivoloAPI::me(store->deviceId());
    const auto status = co_await replyOrNothing(std::move(asked));
    if (status && !stop.stop_requested())
        store->applyStatus(*status);
}

QCoro::Task<> refreshStatusAndHistory(std::shared_ptr<Store> store, std::stop_token stop)
{
    auto refreshed = refreshStatus(store, stop);
    co_await refreshed;
    if (!stop.stop_requested())
        co_await store->loadHistory();
}

QCoro::Task<> refreshUntilJoined(std::shared_ptr<Store> store, MainQueue *queue,
                                 std::stop_token stop)
{
    while (!stop.stop_requested() && store->members->size() < 2) {
        auto refreshed = refreshStatus(store, stop);
        co_await refreshed;
        auto pause = queue->sleep(refreshPause, stop);
        co_await pause;
    }
}

QCoro::Task<> sendDraft(std::shared_ptr<Store> store, Draft draft, std::function<void()> sent)
{
    auto sending = store->send(draft.type, draft.body, draft.effect, draft.openAt);
    co_await sending;
    sent();
}

} // namespace kivolo
