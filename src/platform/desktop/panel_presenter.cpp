#include "platform/desktop/panel_presenter.h"

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
    std::erase_if(waiting_,
                  [panel](const Entry &entry) { return entry.panel.lock().get() == panel; });
}

void PanelPresenter::presentNext()
{
    scheduled_ = false;
    while (!waiting_.empty()) {
        const Entry entry = waiting_.front();
        waiting_.pop_front();
        if (const auto panel = entry.panel.lock()) {
            panel->orderFront();
            panel->fade(1, entry.fadeIn);
            break;
        }
    }
    if (!waiting_.empty()) {
        scheduled_ = true;
        queue_.after(nextTurn, &context_, [this] { presentNext(); });
    }
}

} // namespace kivolo
