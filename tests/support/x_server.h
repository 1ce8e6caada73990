// What the X server itself says, asked over a connection of the test's own.
#pragma once

#include "ui/x_windows.h"

#include <QColor>
#include <QPoint>
#include <QRect>
#include <utility>

class QWidget;

namespace kivolo {

xcb_window_t idOf(const QWidget &widget);

class XServer : public XWindows
{
public:
    explicit XServer(const char *display = nullptr);

    /// The names that a property's values stand for.
    std::vector<std::string> atoms(xcb_window_t window, const char *property) const;
    /// Whether `front` stands nearer to the user than `back`, each with the frame that a window
    /// manager may have put it into.
    bool isInFrontOf(xcb_window_t front, xcb_window_t back) const;
    /// Puts an unmanaged window in front of all others.
    void raise(xcb_window_t window) const;
    /// Marks an unmanaged window as window managers mark those that they take care of.
    void markAsManaged(xcb_window_t window) const;
    /// Every window there is, managed or not, each before those that stand in it.
    std::vector<xcb_window_t> allWindows() const;

    /// As a program does that wants its own window elsewhere, or gone.
    void move(xcb_window_t window, const QPoint &to) const;
    void close(xcb_window_t window) const;

    /// Where the window stands on the screen, in device pixels.
    QRect geometry(const QWidget &widget) const { return geometry(idOf(widget)); }
    QRect geometry(xcb_window_t window) const;
    /// And with the frame that a window manager has put it into.
    QRect frame(const QWidget &widget) const { return geometry(outermost(idOf(widget))); }
    /// Takes note from now on of every place that is given to a window without a frame.
    void followPlaces() const;
    /// Those noted since it was last asked.
    std::vector<std::pair<xcb_window_t, QRect>> placesGiven() const;
    /// The pixels of a part of the screen, row by row, as the screen shows them.
    std::vector<QRgb> pixels(const QRect &area) const;
    /// Where the window takes the mouse, in device pixels from its own corner.
    std::vector<QRect> inputShape(const QWidget &widget) const { return inputShape(idOf(widget)); }
    std::vector<QRect> inputShape(xcb_window_t window) const;
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
    std::vector<xcb_window_t> children(xcb_window_t window) const;
    xcb_window_t outermost(xcb_window_t window) const;

    xcb_window_t owner_;
};

} // namespace kivolo
