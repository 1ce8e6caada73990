// The program as one of the desktop's applications.
#pragma once

class QUrl;

namespace kivolo::application {

/// To be called before the application object is made. A Wayland client may not place its own
/// windows, so on such a session the program goes through the X server that comes with it, unless
/// the environment already names a window system.
void chooseWindowSystem();

/// Brings the program's ordinary windows in front of other programs' windows; does nothing while
/// it shows none.
void activate();

/// Ends the program.
void terminate();

/// Opens a web address in the user's browser. Refused, with false, for anything but http and
/// https: addresses come from elsewhere, and others start programs.
bool openLink(const QUrl &url);

} // namespace kivolo::application
