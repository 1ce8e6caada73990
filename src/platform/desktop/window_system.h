// What shows the program's windows.
#pragma once

namespace kivolo::window_system {

enum class Choice {
    Made,
    NoDisplay,      ///< There is nothing that could show a window.
    NoWaylandPlugin ///< There is only Wayland, and Qt has not been given its part for that.
};

/// To be called before the application object is made, which ends the program where it finds no
/// display. Chooses the X server whenever one is there, that of a Wayland session too, even if the
/// session's environment prefers Wayland: a Wayland client may neither place its windows nor keep
/// the keyboard from going to them. Without one, Wayland it is. Any other window system that the
/// environment names stays.
Choice choose();

/// Whether the program can place windows on the desktop, so that cards can float there. Asks the
/// application object.
bool placesWindows();

} // namespace kivolo::window_system
