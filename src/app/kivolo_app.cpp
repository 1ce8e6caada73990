#include "app/kivolo_app.h"

#include "core/device_identity.h"
#include "core/store.h"
#include "overlays/capsule_manager.h"
#include "overlays/popup_manager.h"
#include "overlays/warm_up.h"
#include "style/palette.h"

#include <QApplication>

namespace kivolo {

KivoloApp::KivoloApp()
    : instance_(deviceIdentity(defaults_))
{}

SingleInstance::Outcome KivoloApp::start()
{
    const SingleInstance::Outcome outcome = instance_.claim();
    if (outcome != SingleInstance::Outcome::First)
        return outcome;
    appearance_ = std::make_unique<Appearance>();
    QObject::connect(appearance_.get(), &Appearance::changed, appearance_.get(),
                     [this] { followAppearance(); });
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

// Where the toolkit has a theme for the desktop, its palette is dark already, and its colours are
// the desktop's own. Elsewhere it never learns of the dark.
void KivoloApp::followAppearance()
{
    const bool dark = appearance_->prefersDark().value_or(false);
    if (dark == darkened_ || (dark && Palette::of(QApplication::palette()).dark))
        return;
    darkened_ = dark;
    QApplication::setPalette(dark ? Palette::standardDark().toQPalette() : QPalette());
}

} // namespace kivolo
