// The program's connection to an X server, for what Qt does not ask of it. Part of this folder's
// X11 sources; nothing else uses it.
#pragma once

#include <cstdlib>
#include <memory>
#include <vector>
#include <xcb/xcb.h>

namespace kivolo::x11 {

struct FreeReply
{
    void operator()(void *reply) const { std::free(reply); } // NOLINT: xcb allocates with malloc
};
template<typename Reply>
using ReplyPtr = std::unique_ptr<Reply, FreeReply>;

/// Null when the program does not run on X11; nothing else here may then be called.
xcb_connection_t *connection();

/// The screen that Qt uses: it opens no second one.
xcb_window_t rootWindow();

enum Atom {
    Window_type,
    Type_notification,
    Desktop,
    Frame_extents,
    Compositor,
    Tray,
    Work_area,
    Work_areas_of_screens,
    Clients,
    Strut_partial,
    Strut_whole,
    Active_window,
    Current_desktop,
    Managed_state,
    Change_state,
    Blur_region,
    Atom_count
};

xcb_atom_t atom(Atom which);

/// Asks for a property of 32-bit values, and takes the answer; empty when there is none.
xcb_get_property_cookie_t askFor(xcb_window_t window, Atom property);
std::vector<uint32_t> numbers(xcb_get_property_cookie_t asked);

/// The windows in a window, from back to front; none when it has gone.
std::vector<xcb_window_t> childrenIn(xcb_query_tree_cookie_t asked);

} // namespace kivolo::x11
