#include "overlays/popup_manager.h"

#include "overlays/placement.h"
#include "platform/desktop/screen.h"

#include <QPointer>

namespace kivolo {

using namespace std::chrono_literals;

namespace {

constexpr MainQueue::Duration popupFadeIn = 250ms;
constexpr MainQueue::Duration popupLife = 8s;
constexpr MainQueue::Duration popupFadeOut = 200ms;
constexpr MainQueue::Duration buzzFadeIn = 150ms;
constexpr MainQueue::Duration buzzLife = 12s;

} // namespace

PopupManager &PopupManager::shared()
{
    Q_ASSERT(shared_);
    return *shared_;
}

PopupManager::PopupManager(Surroundings surroundings)
    : surroundings_(std::move(surroundings))
    , presenter_(surroundings_.queue)
{
    connect(&surroundings_.screen, &Screen::changed, this, &PopupManager::followScreen);
}

PopupManager::~PopupManager() = default;

void PopupManager::show(const Beam &beam, bool shake)
{
    assertOnMainThread();
    if (shake)
        showBuzz(beam);
    else
        showPopup(beam);
}

std::shared_ptr<Panel> PopupManager::makePanel(const Beam &beam, bool shake,
                                               const Panel::Options &options, CloseAction close)
{
    const auto makeCard = [this, beam, shake, close](Panel &panel) {
        // The action must not keep the panel alive, which owns the card that owns the action.
        auto onClose = [manager = QPointer(this), weak = panel.weak_from_this(), close] {
            const auto open = weak.lock();
            if (PopupManager *const owner = manager; owner && open)
                (owner->*close)(open);
        };
        // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): those that show cards are given it
        return surroundings_.makeCard(beam, shake, std::move(onClose));
    };
    return std::make_shared<Panel>(options, makeCard, surroundings_.queue);
}

void PopupManager::showPopup(const Beam &beam)
{
    const auto panel = makePanel(beam, false, {placement::popupSize, true}, &PopupManager::dismiss);
    reflow(panel);
    panels_.push_back(panel);
    presenter_.present(panel, popupFadeIn);
    surroundings_.queue.after(popupLife, this, [this, weak = std::weak_ptr(panel)] {
        if (const auto open = weak.lock())
            dismiss(open);
    });
}

void PopupManager::reflow(const std::shared_ptr<Panel> &adding)
{
    const auto visibleFrame = surroundings_.screen.visibleFrame();
    if (!visibleFrame)
        return;
    for (std::size_t slot = 0; slot < panels_.size(); ++slot)
        panels_[slot]->setFrame(placement::popup(*visibleFrame, slot));
    if (adding)
        adding->setFrame(placement::popup(*visibleFrame, panels_.size()));
}

void PopupManager::followScreen()
{
    reflow();
    if (const auto visibleFrame = surroundings_.screen.visibleFrame())
        buzzPlace_ = placement::buzz(*visibleFrame);
    for (const auto &panel : buzzes_)
        panel->setFrame(buzzPlace_);
}

void PopupManager::dismiss(const std::shared_ptr<Panel> &panel)
{
    presenter_.withdraw(panel.get());
    panel->fade(0, popupFadeOut);
    afterHolding(panel, popupFadeOut, [this](const std::shared_ptr<Panel> &faded) {
        assertOnMainThread();
        faded->orderOut();
        std::erase(panels_, faded);
        reflow();
    });
}

void PopupManager::showBuzz(const Beam &beam)
{
    const auto visibleFrame = surroundings_.screen.visibleFrame();
    if (!visibleFrame)
        return;
    buzzPlace_ = placement::buzz(*visibleFrame);
    const auto panel = makePanel(beam, true, {placement::buzzSize, false}, &PopupManager::endBuzz);
    panel->setFrame(buzzPlace_);
    buzzes_.push_back(panel);
    presenter_.present(panel, buzzFadeIn);
    surroundings_.activateApplication();
    hardShake(panel);
    surroundings_.queue.after(buzzLife, this, [this, weak = std::weak_ptr(panel)] {
        if (const auto open = weak.lock())
            endBuzz(open);
    });
}

void PopupManager::hardShake(const std::shared_ptr<Panel> &panel)
{
    MainQueue::Duration due{0};
    for (const double offset : placement::shakeOffsets) {
        afterHolding(panel, due, [this, offset](const std::shared_ptr<Panel> &shaken) {
            shaken->setFrameOrigin({buzzPlace_.x + offset, buzzPlace_.y});
        });
        due += placement::shakeInterval;
    }
}

void PopupManager::endBuzz(const std::shared_ptr<Panel> &panel)
{
    presenter_.withdraw(panel.get());
    panel->orderOut();
    std::erase(buzzes_, panel);
}

// The queue keeps an action until it is due even if its context has gone, perhaps beyond the
// application object, so that the panel must not be in the action itself.
void PopupManager::afterHolding(const std::shared_ptr<Panel> &panel, MainQueue::Duration delay,
                                std::function<void(const std::shared_ptr<Panel> &)> action)
{
    const auto place = held_.insert(held_.end(), panel);
    surroundings_.queue.after(delay, this, [this, place, action = std::move(action)] {
        const auto held = std::move(*place);
        held_.erase(place);
        action(held);
    });
}

} // namespace kivolo
