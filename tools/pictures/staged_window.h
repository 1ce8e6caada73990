// The program's window in every state it can be in, for pictures and measurements.
#pragma once

#include "core/store.h"
#include "platform/foundation/user_defaults.h"
#include "staging/manual_main_queue.h"
#include "staging/scripted_server.h"

#include <QSize>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>

namespace kivolo {

class Button;
class Field;
class MenuRootView;

/// What people write, in the language of QLocale's default, or in English where it has none of
/// these.
QString said(const char *english, const char *german, const char *japanese);

/// One state of the window, over a circle that is made up and in a moment that does not pass. The
/// state is reached as a member reaches it: by what the server answers, and by presses and keys.
/// The window is laid out and painted as on a screen, but appears on none. Its content is
/// what people have said().
class StagedWindow
{
public:
    /// All states, by name.
    static QStringList states();

    StagedWindow(const QString &state, const QSize &size);
    ~StagedWindow();

    QWidget &view() const;
    Store &store() const { return *store_; }

    // For the making of states.
    ScriptedServer server;
    bool loads = false;         ///< The server keeps it waiting for its status.
    bool offersVersion = false; ///< The landing site has a newer version.
    qsizetype beams = 0;        ///< In the circle's history.
    UserDefaults &defaults() { return defaults_; }
    Button &button(const QString &name) const;
    void press(const QString &name) const;
    void tabTo(const QString &button) const;
    void type(const QString &text, int field = 0) const;
    /// Waits until nothing is under way any more.
    void settle() const;

private:
    bool isSettled() const;

    QTemporaryDir folder_;
    ManualMainQueue queue_;
    UserDefaults defaults_{folder_.filePath(QStringLiteral("kivolo.conf"))};
    std::shared_ptr<Store> store_;
    std::unique_ptr<MenuRootView> view_;
};

} // namespace kivolo
