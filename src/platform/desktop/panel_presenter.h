// Showing many panels without stopping the program.
#pragma once

#include "platform/desktop/panel.h"

#include <QObject>
#include <deque>
#include <memory>
#include <vector>

namespace kivolo {

/// Orders panels in one after the other, each in a turn of the event loop of its own: making a
/// window and painting it takes a few milliseconds, and twenty panels may be asked for at once. The
/// fades begin together once all of them are there: a step of a fade has the window system blend
/// the desktop anew, which would delay the panels that are still to come.
/// Main thread only.
class PanelPresenter final
{
public:
    /// `queue` must outlive the presenter.
    explicit PanelPresenter(MainQueue &queue);

    /// Shows the panel from alpha 0 on, then fades it in over `fadeIn`.
    /// Forgets a panel that has been released by then.
    void present(const std::shared_ptr<Panel> &panel, MainQueue::Duration fadeIn);

    /// Takes back what is left to do of a present().
    void withdraw(const Panel *panel);

private:
    struct Entry
    {
        std::weak_ptr<Panel> panel;
        MainQueue::Duration fadeIn;
    };
    void presentNext();
    void fadeIn();

    MainQueue &queue_;
    std::deque<Entry> waiting_;
    std::vector<Entry> shown_;
    bool scheduled_ = false;
    QObject context_;
};

} // namespace kivolo
