// Whose window is in front of the user.
#pragma once

class QWindow;

namespace kivolo::window_system {

/// Brings a shown window to the virtual desktop that the user looks at, in front of all others,
/// with the focus, as the user's own demand: other programs' claims to the focus do not count.
/// Where the window system is not known, it asks for the focus as any program may.
void bringToUser(QWindow &window);

} // namespace kivolo::window_system
