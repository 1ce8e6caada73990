// The program's connection to an X server, for what Qt does not ask of it. Part of this folder's
// X11 sources; nothing else uses it.
#pragma once

#include <cstdlib>
#include <memory>
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
    Active_window,
    Current_desktop,
    Managed_state,
    Atom_count
};

xcb_atom_t atom(Atom which);

} // namespace kivolo::x11
