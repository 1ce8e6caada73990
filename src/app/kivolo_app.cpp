#include "app/kivolo_app.h"

#include "core/device_identity.h"
#include "core/store.h"
#include "overlays/capsule_manager.h"
#include "overlays/popup_manager.h"
#include "overlays/warm_up.h"

namespace kivolo {

KivoloApp::KivoloApp()
    : instance_(deviceIdentity(defaults_))
{}

SingleInstance::Outcome KivoloApp::start()
{
    const SingleInstance::Outcome outcome = instance_.claim();
    if (outcome != SingleInstance::Outcome::First)
        return outcome;
    // Now, while nothing is on its way, instead of in front of the first beam.
    warmUpCards();
    store_ = Store::create(
        queue_, defaults_,
        {.show = [](const Beam &beam, bool shake) { PopupManager::shared().show(beam, shake); },
         .addCapsule =
             [](const Beam &beam, std::function<void(const Beam &)> onOpen) {
                 CapsuleManager::shared().add(beam, std::move(onOpen));
             }});
    return outcome;
}

} // namespace kivolo
