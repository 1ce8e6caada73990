// The program's floating cards.
#pragma once

#include <memory>

namespace kivolo {

class CapsuleManager;
class MainQueue;
class PopupManager;
class Screen;

/// Builds the managers that PopupManager::shared() and CapsuleManager::shared() give for as long as
/// this lives, and takes their cards off the screen at its end. One per program, which destroys it
/// before the application object. Main thread only.
class FloatingCards final
{
public:
    /// `queue` and `screen` must outlive this.
    FloatingCards(MainQueue &queue, const Screen &screen);
    ~FloatingCards();
    FloatingCards(const FloatingCards &) = delete;
    FloatingCards &operator=(const FloatingCards &) = delete;

private:
    std::unique_ptr<PopupManager> popups_;
    std::unique_ptr<CapsuleManager> capsules_;
};

} // namespace kivolo
