// The program as one of the desktop's applications.
#pragma once

class QString;
class QUrl;
class QWidget;

namespace kivolo {
class MainQueue;
}

namespace kivolo::application {

/// Brings the program's ordinary windows in front of other programs' windows, and the program with
/// them; does nothing while it shows none. Whoever is typing in one of them goes on typing there;
/// what is being typed elsewhere gets into none of them (KeyGuard).
void activate(const MainQueue &queue);

/// Shows `window` on the virtual desktop that the user looks at, not minimised, in front of all
/// others and with the focus. For the user's own demand only: it takes the focus from whatever
/// has it.
void raise(QWidget &window);

/// Writes one sentence, after the application's name, to whoever has started the program and sees
/// what it writes (stderr).
void tell(const QString &sentence);

/// Ends the program.
void terminate();

/// Ends the program in good order, as terminate() does, when a session or a terminal tells it to
/// end (SIGTERM, SIGINT, SIGHUP). The second such signal ends it at once. To be called once, after
/// the application object has been made.
void terminateOnSignals();

/// Opens a web address in the user's browser. Refused, with false, for anything but http and
/// https: addresses come from elsewhere, and others start programs.
bool openLink(const QUrl &url);

} // namespace kivolo::application
