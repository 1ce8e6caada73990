// The windows on an X display, as its server tells of them.
#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>
#include <xcb/xcb.h>

namespace kivolo {

/// Over a connection of its own. What has gone has no properties, and doing something to it does
/// nothing.
class XWindows
{
public:
    /// Of this process's display, or of another one.
    explicit XWindows(const char *display = nullptr);
    ~XWindows();
    XWindows(const XWindows &) = delete;
    XWindows &operator=(const XWindows &) = delete;

    /// A property's 32-bit values.
    std::vector<std::uint32_t> values(xcb_window_t window, const char *property) const;
    std::string text(xcb_window_t window, const char *property) const;

    xcb_window_t root() const { return root_; }
    /// The windows that the window manager takes care of.
    std::vector<xcb_window_t> windows() const { return values(root_, "_NET_CLIENT_LIST"); }
    xcb_window_t activeWindow() const;
    bool isViewable(xcb_window_t window) const;
    /// Asks the window manager to do something with a window, as a task bar does.
    void ask(xcb_window_t window, const char *what, std::array<std::uint32_t, 5> data) const;

protected:
    struct Free
    {
        void operator()(void *reply) const { std::free(reply); }
    };
    template<typename Reply>
    static std::unique_ptr<Reply, Free> own(Reply *reply)
    {
        return std::unique_ptr<Reply, Free>(reply);
    }
    /// The answer to one of XCB's questions; null when it fails.
    template<auto Question, auto Answer, typename... Arguments>
    auto answer(Arguments... arguments) const
    {
        return own(Answer(connection_, Question(connection_, arguments...), nullptr));
    }
    xcb_atom_t atom(const char *name) const;
    void send(xcb_window_t to, std::uint32_t mask, xcb_window_t window, const char *type,
              std::array<std::uint32_t, 5> data) const;

    xcb_connection_t *const connection_;

private:
    auto property(xcb_window_t window, const char *name, int format) const;

    const xcb_window_t root_;
};

} // namespace kivolo
