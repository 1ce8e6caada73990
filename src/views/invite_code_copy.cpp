#include "views/invite_code_copy.h"

#include "core/store.h"
#include "platform/desktop/pasteboard.h"
#include "platform/foundation/main_queue.h"

namespace kivolo {

using namespace std::chrono_literals;

static constexpr auto confirmation = 1500ms;

InviteCodeCopy::InviteCodeCopy(std::shared_ptr<Store> store, MainQueue &queue,
                               std::function<void()> changed)
    : store_(std::move(store))
    , queue_(queue)
    , changed_(std::move(changed))
{}

void InviteCodeCopy::copy()
{
    pasteboard::setString(*store_->code);
    setConfirmed(true);
    queue_.after(confirmation, this, [this] { setConfirmed(false); });
}

void InviteCodeCopy::setConfirmed(bool confirmed)
{
    confirmed_ = confirmed;
    changed_();
}

} // namespace kivolo
