// What the X server itself says, asked over a connection of the test's own.
#pragma once

#include <QColor>
#include <QPoint>
#include <QRect>
#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>
#include <xcb/xcb.h>

class QWidget;

namespace kivolo {

xcb_window_t idOf(const QWidget &widget);

class XServer
{
public:
    /// Of this process's display, or of another one.
    explicit XServer(const char *display = nullptr);
    ~XServer();
    XServer(const XServer &) = delete;
    XServer &operator=(const XServer &) = delete;

    /// A property's 32-bit values, those of type ATOM as names.
    std::vector<std::uint32_t> values(xcb_window_t window, const char *property) const;
    std::vector<std::string> atoms(xcb_window_t window, const char *property) const;
    std::string text(xcb_window_t window, const char *property) const;

    xcb_window_t root() const { return root_; }
    /// The windows that the window manager takes care of.
    std::vector<xcb_window_t> windows() const { return values(root_, "_NET_CLIENT_LIST"); }
    /// Those that keep themselves from its care (override-redirect) and show, from back to front.
    std::vector<xcb_window_t> unmanagedWindows() const;
    /// Whether `front` stands nearer to the user than `back`, each with the frame that a window
    /// manager may have put it into.
    bool isInFrontOf(xcb_window_t front, xcb_window_t back) const;
    /// Puts an unmanaged window in front of all others.
    void raise(xcb_window_t window) const;
    /// Marks an unmanaged window as window managers mark those that they take care of.
    void markAsManaged(xcb_window_t window) const;
    /// Every window there is, managed or not, each before those that stand in it.
    std::vector<xcb_window_t> allWindows() const;
    bool isViewable(xcb_window_t window) const;
    /// Asks the window manager to do something with a window, as a task bar does.
    void ask(xcb_window_t window, const char *what, std::array<std::uint32_t, 5> data) const;

    /// As a program does that wants its own window elsewhere, or gone.
    void move(xcb_window_t window, const QPoint &to) const;
    void close(xcb_window_t window) const;

    /// Where the window stands on the screen, in device pixels.
    QRect geometry(const QWidget &widget) const { return geometry(idOf(widget)); }
    QRect geometry(xcb_window_t window) const;
    /// Takes note from now on of every place that is given to a window without a frame.
    void followPlaces() const;
    /// Those noted since it was last asked.
    std::vector<std::pair<xcb_window_t, QRect>> placesGiven() const;
    /// The pixels of a part of the screen, row by row, as the screen shows them.
    std::vector<QRgb> pixels(const QRect &area) const;
    /// Where the window takes the mouse, in device pixels from its own corner.
    std::vector<QRect> inputShape(const QWidget &widget) const { return inputShape(idOf(widget)); }
    std::vector<QRect> inputShape(xcb_window_t window) const;
    xcb_window_t activeWindow() const;
    /// The window that keys go to; XCB_INPUT_FOCUS_POINTER_ROOT when that is the one under the
    /// pointer.
    xcb_window_t focus() const;

    /// An ordinary window of another program, shown. Goes with this connection.
    xcb_window_t addWindow();

    enum Edge { Left, Right, Top, Bottom };
    /// Puts a desktop panel along an edge of the whole desktop, from there to there, that keeps
    /// `depth` device pixels for itself. Goes with this connection.
    void addBar(Edge edge, std::uint32_t depth, std::array<std::uint32_t, 2> extent);

    /// Takes or gives up the selection by which a compositor makes itself known.
    void claimCompositor(bool claim);
    bool hasCompositor() const;
    /// Says that the compositor blurs what lies beneath a window, or takes that back.
    void announceBlur(bool can);

private:
    xcb_atom_t atom(const char *name) const;
    std::vector<xcb_window_t> children(xcb_window_t window) const;
    xcb_window_t outermost(xcb_window_t window) const;

    xcb_connection_t *connection_;
    xcb_window_t root_;
    xcb_window_t owner_;
};

} // namespace kivolo
