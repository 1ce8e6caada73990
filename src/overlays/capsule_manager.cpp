#include "overlays/capsule_manager.h"

#include "overlays/capsule_card_model.h"
#include "overlays/placement.h"
#include "platform/desktop/screen.h"
#include "platform/foundation/time.h"

#include <algorithm>

namespace kivolo {

using namespace std::chrono_literals;

namespace {

constexpr MainQueue::Duration fadeIn = 250ms;
constexpr MainQueue::Duration tickInterval = 1s;

qint64 secondsLeft(const Beam &beam, qint64 now)
{
    return timeSince(now, beam.open_at.value_or(0));
}

qint64 countdown(qint64 secondsLeft)
{
    return std::max<qint64>(0, secondsLeft);
}

} // namespace

CapsuleManager &CapsuleManager::shared()
{
    Q_ASSERT(shared_);
    return *shared_;
}

CapsuleManager::CapsuleManager(Surroundings surroundings)
    : surroundings_(std::move(surroundings))
    , presenter_(surroundings_.queue)
{
    connect(&surroundings_.screen, &Screen::changed, this, &CapsuleManager::reflow);
}

CapsuleManager::~CapsuleManager() = default;

void CapsuleManager::add(const Beam &beam, OpenAction onOpen)
{
    assertOnMainThread();
    const bool shown = std::any_of(items_.begin(), items_.end(),
                                   [&beam](const Item &item) { return item.beam.id == beam.id; });
    if (shown)
        return;

    auto model =
        std::make_shared<CapsuleCardModel>(countdown(secondsLeft(beam, surroundings_.queue.now())));
    auto panel = std::make_shared<Panel>(
        Panel::Options{placement::capsuleSize, true},
        [this, beam, model](Panel &) { return surroundings_.makeCard(beam, model); },
        surroundings_.queue);
    items_.push_back({panel, std::move(model), beam, std::move(onOpen)});
    reflow();
    presenter_.present(panel, fadeIn);
    ensureTimer();
}

void CapsuleManager::reflow()
{
    const auto visibleFrame = surroundings_.screen.visibleFrame();
    if (!visibleFrame)
        return;
    for (std::size_t slot = 0; slot < items_.size(); ++slot)
        items_[slot].panel->setFrame(placement::capsule(*visibleFrame, slot));
}

void CapsuleManager::ensureTimer()
{
    if (!timer_)
        timer_ = surroundings_.queue.every(tickInterval, [this] { tick(); });
}

void CapsuleManager::tick()
{
    assertOnMainThread();
    const qint64 now = surroundings_.queue.now();
    // A copy, because an onOpen may add a capsule.
    std::vector<Item> due;
    for (const Item &item : items_) {
        const qint64 left = secondsLeft(item.beam, now);
        item.model->remaining = countdown(left);
        if (left <= 0)
            due.push_back(item);
    }
    for (const Item &opening : due) {
        opening.onOpen(opening.beam);
        opening.panel->orderOut();
        std::erase_if(items_, [&](const Item &item) { return item.beam.id == opening.beam.id; });
    }
    if (!due.empty())
        reflow();
    if (items_.empty())
        timer_.reset();
}

} // namespace kivolo
