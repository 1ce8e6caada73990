// A desktop as the person at it sees it: by what is on the screen, whoever put it there.
#pragma once

#include "support/x_server.h"

#include <QColor>
#include <QList>
#include <QRect>
#include <QStringList>

namespace kivolo {

inline constexpr QSize popup(300, 150);
inline constexpr QSize capsule(290, 92);
inline constexpr QSize buzz(420, 200);

/// Where one of the program's cards stands, without its shadow.
struct Card
{
    xcb_window_t window;
    QRect frame;
};

/// The X display that the program is on, and the screen that shows it: the same, unless that
/// display is a guest in a Wayland session. KIVOLO_SCREEN then names the display that the session
/// is shown on; mouse, keys and pixels are that one's.
class Desktop
{
public:
    Desktop();

    const XServer &x() const { return x_; }
    bool isGuest() const { return !screenName_.isEmpty(); }
    /// Whether the window manager says that it knows this property or message.
    bool supports(const char *what) const;

    /// Puts a panel along the top edge where the window manager heeds panels and there is none yet.
    void addPanel();
    /// The screen without its panels.
    QRect workArea() const;

    /// The program's cards of this size that show, from the top down.
    QList<Card> cards(const QSize &size) const;
    /// Where all of its cards stand.
    QList<QRect> frames() const;
    /// Where they belong: the i-th popup from the top, the i-th capsule from the bottom, a buzz.
    QRect popupSlot(int i) const;
    QRect capsuleSlot(int i) const;
    QRect buzzPlace() const;

    /// The program's window; none while it does not show.
    xcb_window_t mainWindow() const;
    /// Whether keys go to this window, also where they go to the window under the pointer.
    bool hasKeys(xcb_window_t window) const;
    bool keysFollowPointer() const { return x_.focus() == XCB_INPUT_FOCUS_POINTER_ROOT; }

    std::vector<QRgb> pixels(const QRect &area) const;
    QColor colorAt(const QPoint &point) const;
    /// How many colours there are.
    qsizetype colorsIn(const QRect &area) const;
    /// With the mouse and the keys: the arguments of xdotool.
    void input(const QStringList &actions) const;
    void click(const QPoint &point) const;
    void drag(const QPoint &from, const QPoint &to) const;

private:
    std::vector<xcb_window_t> programsWindows() const;

    QByteArray screenName_;
    XServer x_;
    std::unique_ptr<XServer> screen_;
};

} // namespace kivolo
