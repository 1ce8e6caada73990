// Sealed time capsules on the receiver's desktop.
#pragma once

#include "api/records.h"
#include "platform/desktop/panel.h"
#include "platform/desktop/panel_presenter.h"

#include <QObject>
#include <functional>
#include <memory>
#include <vector>

namespace kivolo {

class CapsuleCardModel;
class FloatingCards;
class Screen;

/// Shows each sealed capsule as a countdown card, one of a stack in the main screen's bottom-right
/// corner, also when the screen changes, and hands it back to its owner once its time has
/// come. Main thread only.
class CapsuleManager final : public QObject
{
    Q_OBJECT
public:
    using OpenAction = std::function<void(const Beam &)>;
    using CardFactory = std::function<std::unique_ptr<PanelContent>(
        const Beam &beam, const std::shared_ptr<CapsuleCardModel> &model)>;
    /// What the manager works with; `queue` and `screen` must outlive it.
    struct Surroundings
    {
        MainQueue &queue;
        const Screen &screen;
        CardFactory makeCard;
    };
    /// One card on screen; it is what keeps the panel alive.
    struct Item
    {
        std::shared_ptr<Panel> panel;
        std::shared_ptr<CapsuleCardModel> model;
        Beam beam;
        OpenAction onOpen;
    };

    /// The program's own, which its FloatingCards have built.
    static CapsuleManager &shared();

    explicit CapsuleManager(Surroundings surroundings);
    ~CapsuleManager() override;

    /// Shows a card for `beam` until its `open_at`, then calls `onOpen` with it, once, at the first
    /// whole second's tick that finds the time come (a beam without `open_at` opens at the next
    /// one). Ignored while a card for the same beam id is shown.
    void add(const Beam &beam, OpenAction onOpen);

    /// The cards on screen, oldest first.
    const std::vector<Item> &items() const { return items_; }
    /// Whether the countdowns are running.
    bool isTicking() const { return timer_ != nullptr; }

private:
    friend class FloatingCards;
    static inline CapsuleManager *shared_ = nullptr;

    void reflow();
    void ensureTimer();
    void tick();

    Surroundings surroundings_;
    PanelPresenter presenter_;
    std::vector<Item> items_;
    std::unique_ptr<MainQueue::Repetition> timer_; // exists while items_ may hold something
};

} // namespace kivolo
