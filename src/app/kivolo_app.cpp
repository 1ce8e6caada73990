#include "app/kivolo_app.h"

#include "api/origins.h"
#include "app/icons.h"
#include "app/main_window.h"
#include "app/menu_root_view.h"
#include "app/panel_frame.h"
#include "core/device_identity.h"
#include "overlays/beam_notifications.h"
#include "overlays/capsule_manager.h"
#include "overlays/floating_cards.h"
#include "overlays/popup_manager.h"
#include "overlays/warm_up.h"
#include "platform/desktop/application.h"
#include "platform/desktop/cursor_rest.h"
#include "platform/desktop/menu_bar_extra.h"
#include "platform/desktop/notifications.h"
#include "platform/desktop/window_system.h"
#include "platform/foundation/heap.h"
#include "style/text_style.h"
#include "style/theme.h"

#include <QApplication>

namespace kivolo {

using namespace std::chrono_literals;

KivoloApp::KivoloApp(std::unique_ptr<Network> network)
    : network_(std::move(network))
    , deviceId_(deviceIdentity(defaults_))
    , instance_(deviceId_)
{}

KivoloApp::~KivoloApp() = default;

SingleInstance::Outcome KivoloApp::start(Launch launch)
{
    launch_ = launch;
    const bool hidden = launch == Launch::Hidden;
    const SingleInstance::Outcome outcome =
        instance_.claim(hidden ? SingleInstance::Ask::Nothing : SingleInstance::Ask::ToRaise);
    if (outcome != SingleInstance::Outcome::First)
        return outcome;

    appearance_ = std::make_unique<Appearance>();
    QObject::connect(appearance_.get(), &Appearance::changed, appearance_.get(),
                     [this] { Theme::shared().follow(appearance_->prefersDark()); });
    QObject::connect(appearance_.get(), &Appearance::motionChanged, appearance_.get(),
                     [this] { Theme::shared().setReducedMotion(appearance_->reducesMotion()); });
    Theme::shared().follow(appearance_->prefersDark());

    store_ = Store::create(queue_, deviceId_, makeOverlays());
    window_ = std::make_unique<MainWindow>([this] { return makeContent(); });
    QObject::connect(&instance_, &SingleInstance::raiseRequested, window_.get(),
                     [this] { application::raise(*window_); });
    QObject::connect(window_.get(), &MainWindow::painted, window_.get(), [this] { settle(); });
    // A window that begins minimised, or on another desktop, is not painted for a while.
    queue_.after(hidden ? 0ms : 500ms, window_.get(), [this] { settle(); });
    if (!hidden)
        window_->show();
    return outcome;
}

Store::Overlays KivoloApp::makeOverlays()
{
    using OpenAction = std::function<void(const Beam &)>;
    if (window_system::placesWindows()) {
        cards_ = std::make_unique<FloatingCards>(queue_, screen_);
        return {
            .show = [](const Beam &beam, bool shake) { PopupManager::shared().show(beam, shake); },
            .addCapsule =
                [](const Beam &beam, OpenAction onOpen) {
                    CapsuleManager::shared().add(beam, std::move(onOpen));
                }};
    }
    notifications_ = std::make_unique<Notifications>();
    beamNotifications_ = std::make_unique<BeamNotifications>(BeamNotifications::Surroundings{
        queue_, [this](const Notification &notification) { notifications_->show(notification); },
        [this] { application::activate(queue_); }});
    sayThatNoCardsFloat();
    return {.show = [this](const Beam &beam, bool shake) { beamNotifications_->show(beam, shake); },
            .addCapsule =
                [this](const Beam &beam, OpenAction onOpen) {
                    beamNotifications_->add(beam, std::move(onOpen));
                }};
}

// To whoever reads what programs write at each start, on the desktop once in the life of this
// installation.
void KivoloApp::sayThatNoCardsFloat()
{
    static const QString said = QStringLiteral("kivolo_notifications_explained");
    const QString explanation = QCoreApplication::translate(
        "KivoloApp", "Without an X server (XWayland) no card can float on this desktop: what "
                     "arrives is shown as a notification.");
    application::tell(explanation);
    if (defaults_.boolean(said))
        return;
    notifications_->show(
        {.summary = QStringLiteral("Kivolo"), .body = explanation, .picture = {}, .life = 12s},
        [this](bool taken) {
            if (taken)
                defaults_.setBoolean(said, true);
            else
                application::tell(QCoreApplication::translate(
                    "KivoloApp", "No notification service answers: what arrives "
                                 "is in the window alone."));
        });
}

std::unique_ptr<QWidget> KivoloApp::makeContent()
{
    return std::make_unique<MenuRootView>(store_, defaults_, queue_);
}

// What the first sight of the window need not wait for. The session is part of it: an answer that
// comes at once would have the next screen built before the first is seen.
void KivoloApp::settle()
{
    if (extra_)
        return;
    beginWithTextFont(); // no text is shown while the session is loading
    beginSession();
    cursorRest_ = std::make_unique<CursorRest>(queue_);
    QApplication::setWindowIcon(applicationIcon());
    extra_ = std::make_unique<MenuBarExtra>(
        QStringLiteral("kivolo"), trayHeart(),
        [this] { return std::make_unique<PanelFrame>(makeContent()); }, screen_, queue_);
    // The first beam can arrive only with the second poll.
    if (!beamNotifications_)
        queue_.after(500ms, window_.get(), warmUpCards);
    // What only the start and the first history needed.
    queue_.after(3s, window_.get(), heap::giveBack);
}

// A start at the login can be earlier than the network, and the session asks only once which circle
// this device is in.
void KivoloApp::beginSession()
{
    if (launch_ == Launch::WithWindow)
        return store_->begin();
    whenReachable(*network_, requestUrl(apiOrigin()), queue_, window_.get(),
                  [this] { store_->begin(); });
}

} // namespace kivolo
