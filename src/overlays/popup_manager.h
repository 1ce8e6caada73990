// Incoming beams on the receiver's desktop.
#pragma once

#include "api/records.h"
#include "platform/desktop/panel.h"
#include "platform/desktop/panel_presenter.h"

#include <QObject>
#include <functional>
#include <list>
#include <memory>
#include <vector>

namespace kivolo {

class FloatingCards;
class Screen;

/// Shows an ordinary beam as a popup, one of a column in the screen's top-right corner that fades
/// out after 8 seconds, and a buzz as a large shaking card in the middle that stays 12 seconds.
/// Both follow the screen when it changes. Main thread only.
class PopupManager final : public QObject
{
    Q_OBJECT
public:
    using Action = std::function<void()>;
    using CardFactory =
        std::function<std::unique_ptr<PanelContent>(const Beam &beam, bool shake, Action onClose)>;
    /// What the manager works with; `queue` and `screen` must outlive it.
    struct Surroundings
    {
        MainQueue &queue;
        const Screen &screen;
        CardFactory makeCard;
        Action activateApplication;
    };

    /// The program's own, which its FloatingCards have built.
    static PopupManager &shared();

    explicit PopupManager(Surroundings surroundings);
    ~PopupManager() override;

    /// Shows `beam`, as a buzz if `shake` is set. Cheap: the window appears in a later turn of the
    /// event loop. Without a main screen a popup waits at the origin for the next layout, and a
    /// buzz is not shown at all.
    void show(const Beam &beam, bool shake);

    /// The popups on screen, oldest first. The list is what keeps them alive.
    const std::vector<std::shared_ptr<Panel>> &panels() const { return panels_; }
    /// The buzzes on screen; they take no part in the column.
    const std::vector<std::shared_ptr<Panel>> &buzzes() const { return buzzes_; }

private:
    friend class FloatingCards;
    static inline PopupManager *shared_ = nullptr;

    using CloseAction = void (PopupManager::*)(const std::shared_ptr<Panel> &panel);

    std::shared_ptr<Panel> makePanel(const Beam &beam, bool shake, const Panel::Options &options,
                                     CloseAction close);
    void showPopup(const Beam &beam);
    void showBuzz(const Beam &beam);
    void reflow(const std::shared_ptr<Panel> &adding = nullptr);
    void followScreen();
    void dismiss(const std::shared_ptr<Panel> &panel);
    void hardShake(const std::shared_ptr<Panel> &panel);
    void endBuzz(const std::shared_ptr<Panel> &panel);
    void afterHolding(const std::shared_ptr<Panel> &panel, MainQueue::Duration delay,
                      std::function<void(const std::shared_ptr<Panel> &)> action);

    Surroundings surroundings_;
    PanelPresenter presenter_;
    std::vector<std::shared_ptr<Panel>> panels_;
    std::vector<std::shared_ptr<Panel>> buzzes_;
    Rect buzzPlace_;                         // where they come to rest
    std::list<std::shared_ptr<Panel>> held_; // one per action of afterHolding() still to come
};

} // namespace kivolo
