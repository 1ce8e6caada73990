// Showing many panels without stopping the program.
#pragma once

#include "platform/desktop/panel.h"

#include <QObject>
#include <deque>
#include <memory>

namespace kivolo {

/// Orders panels in one after the other, each in a turn of the event loop of its own: making a
/// window and painting it takes a few milliseconds, and twenty panels may be asked for at once.
/// Main thread only.
class PanelPresenter final
{
public:
    /// `queue` must outlive the presenter.
    explicit PanelPresenter(MainQueue &queue);

    /// Shows the panel from alpha 0 on, fading in over `fadeIn` counted from the moment it appears.
    /// Forgets a panel that has been released by then.
    void present(const std::shared_ptr<Panel> &panel, MainQueue::Duration fadeIn);

    /// Takes back a present() that has not been carried out yet.
    void withdraw(const Panel *panel);

private:
    struct Entry
    {
        std::weak_ptr<Panel> panel;
        MainQueue::Duration fadeIn;
    };
    void presentNext();

    MainQueue &queue_;
    std::deque<Entry> waiting_;
    bool scheduled_ = false;
    QObject context_;
};

} // namespace kivolo
