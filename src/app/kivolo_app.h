// The program: its one store, wired to the desktop.
#pragma once

#include "platform/desktop/appearance.h"
#include "platform/desktop/single_instance.h"
#include "platform/foundation/main_queue.h"
#include "platform/foundation/user_defaults.h"

#include <memory>

namespace kivolo {

class Store;

/// Owns what lives as long as the process. Made after the application object, on its thread.
class KivoloApp
{
public:
    KivoloApp();

    /// Claims this installation for this process and starts the session. When another process has
    /// it already, that one is asked to show itself, and nothing is started here.
    SingleInstance::Outcome start();

    /// Why start() ended in Outcome::Failed.
    QString errorText() const { return instance_.errorText(); }

private:
    void followAppearance();

    SystemMainQueue queue_;
    UserDefaults defaults_;
    SingleInstance instance_;
    std::shared_ptr<Store> store_;
    std::unique_ptr<Appearance> appearance_;
    bool darkened_ = false; // the palette is ours, in place of the toolkit's light one
};

} // namespace kivolo
