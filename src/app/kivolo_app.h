// The program: its one store, and the two scenes that show it.
#pragma once

#include "core/store.h"
#include "platform/desktop/appearance.h"
#include "platform/desktop/screen.h"
#include "platform/desktop/single_instance.h"
#include "platform/foundation/main_queue.h"
#include "platform/foundation/network.h"
#include "platform/foundation/user_defaults.h"

#include <QWidget>
#include <memory>

namespace kivolo {

class BeamNotifications;
class CursorRest;
class FloatingCards;
class MainWindow;
class MenuBarExtra;
class Notifications;

/// Owns what lives as long as the process. Made after the application object, on its thread.
class KivoloApp
{
public:
    /// Whether the window is shown at the start.
    enum class Launch { WithWindow, Hidden };

    explicit KivoloApp(std::unique_ptr<Network> network = std::make_unique<SystemNetwork>());
    ~KivoloApp();

    /// Claims this installation for this process, shows the window and starts the session. When
    /// another process has the installation already, that one is asked to show its window, unless
    /// this start is hidden, and nothing is started here. The session of a hidden start, which may
    /// come before the network, begins when its server can be reached.
    SingleInstance::Outcome start(Launch launch);

    /// Why start() ended in Outcome::Failed.
    QString errorText() const { return instance_.errorText(); }

private:
    Store::Overlays makeOverlays();
    void sayThatNoCardsFloat();
    void settle();
    void beginSession();
    std::unique_ptr<QWidget> makeContent();

    const std::unique_ptr<Network> network_;
    SystemMainQueue queue_;
    SystemScreen screen_;
    UserDefaults defaults_{UserDefaults::fileOf(QStringLiteral("kivolo")),
                           QStringLiteral("kivolo_")};
    const QString deviceId_;
    SingleInstance instance_;
    std::unique_ptr<Appearance> appearance_;
    std::unique_ptr<FloatingCards> cards_;
    // Both only where no cards can float.
    std::unique_ptr<Notifications> notifications_;
    std::unique_ptr<BeamNotifications> beamNotifications_;
    Launch launch_ = Launch::WithWindow;
    std::shared_ptr<Store> store_;
    std::unique_ptr<MainWindow> window_;
    std::unique_ptr<MenuBarExtra> extra_;
    std::unique_ptr<CursorRest> cursorRest_;
};

} // namespace kivolo
