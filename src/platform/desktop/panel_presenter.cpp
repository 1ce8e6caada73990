#include "platform/desktop/panel_presenter.h"

#include <utility>

namespace kivolo {

namespace {
// A delay of zero would be run in the same turn as the action that asked for it.
constexpr MainQueue::Duration nextTurn{1};
} // namespace

PanelPresenter::PanelPresenter(MainQueue &queue)
    : queue_(queue)
{}

void PanelPresenter::present(const std::shared_ptr<Panel> &panel, MainQueue::Duration fadeIn)
{
    panel->setAlpha(0);
    waiting_.push_back({panel, fadeIn});
    if (!scheduled_) {
        scheduled_ = true;
        queue_.after(MainQueue::Duration(0), &context_, [this] { presentNext(); });
    }
}

void PanelPresenter::withdraw(const Panel *panel)
{
    const auto isIt = [panel](const Entry &entry) { return entry.panel.lock().get() == panel; };
    std::erase_if(waiting_, isIt);
    std::erase_if(shown_, isIt);
}

void PanelPresenter::presentNext()
{
    while (!waiting_.empty()) {
        const Entry next = waiting_.front();
        waiting_.pop_front();
        if (const auto panel = next.panel.lock()) {
            panel->orderFront();
            shown_.push_back(next);
            break;
        }
    }
    scheduled_ = !waiting_.empty();
    if (scheduled_)
        queue_.after(nextTurn, &context_, [this] { presentNext(); });
    else
        fadeIn();
}

void PanelPresenter::fadeIn()
{
    for (const Entry &entry : std::exchange(shown_, {})) {
        if (const auto panel = entry.panel.lock())
            panel->fade(1, entry.fadeIn);
    }
}

} // namespace kivolo
