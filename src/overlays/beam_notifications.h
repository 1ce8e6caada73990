// Beams on a desktop that lets no card float.
#pragma once

#include "api/records.h"
#include "platform/desktop/notifications.h"
#include "platform/foundation/main_queue.h"

#include <QObject>
#include <functional>
#include <memory>
#include <vector>

namespace kivolo {

/// What stands in for PopupManager and CapsuleManager where the program can't place its windows:
/// the same beams, with the same texts, as notifications of the desktop. A doodle comes as a
/// picture, a buzz as an urgent notification that also activates the application; a sealed capsule
/// is announced, and handed back to its owner once its time has come. Main thread only.
class BeamNotifications final : public QObject
{
    Q_OBJECT
public:
    using OpenAction = std::function<void(const Beam &)>;
    /// What it works with; `queue` must outlive it.
    struct Surroundings
    {
        MainQueue &queue;
        std::function<void(const Notification &)> notify;
        std::function<void()> activateApplication;
    };

    explicit BeamNotifications(Surroundings surroundings);
    ~BeamNotifications() override;

    /// Shows `beam`, as a buzz if `shake` is set.
    void show(const Beam &beam, bool shake);

    /// Announces the sealed `beam` and calls `onOpen` with it, once, at the first whole second's
    /// tick that finds its `open_at` come. Ignored while the same beam id is waited for.
    void add(const Beam &beam, OpenAction onOpen);

private:
    struct Item
    {
        Beam beam;
        OpenAction onOpen;
    };
    void showDoodle(const Beam &beam, Notification notification);
    void tick();

    Surroundings surroundings_;
    std::vector<Item> items_;                      // oldest first
    std::unique_ptr<MainQueue::Repetition> timer_; // exists while items_ may hold something
};

} // namespace kivolo
