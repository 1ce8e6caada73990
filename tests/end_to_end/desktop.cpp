#include "end_to_end/desktop.h"

#include <QProcess>
#include <QSet>
#include <algorithm>
#include <stdexcept>

namespace kivolo {

using namespace Qt::StringLiterals;

namespace {

constexpr std::uint32_t panelHeight = 24;

QStringList pointerTo(const QPoint &at)
{
    return {u"mousemove"_s, QString::number(at.x()), QString::number(at.y())};
}

} // namespace

Desktop::Desktop()
    : screenName_(qgetenv("KIVOLO_SCREEN"))
    , screen_(isGuest() ? std::make_unique<XServer>(screenName_.constData()) : nullptr)
{}

bool Desktop::supports(const char *what) const
{
    const auto names = x_.atoms(x_.root(), "_NET_SUPPORTED");
    return std::find(names.begin(), names.end(), what) != names.end();
}

void Desktop::addPanel()
{
    const bool heeded = supports("_NET_WM_STRUT") || supports("_NET_WM_STRUT_PARTIAL");
    const QRect screen = x_.geometry(x_.root());
    if (heeded && workArea() == screen)
        x_.addBar(XServer::Top, panelHeight, {0, std::uint32_t(screen.width() - 1)});
}

QRect Desktop::workArea() const
{
    QRect area = x_.geometry(x_.root());
    const QSize whole = area.size();
    const auto told = x_.values(x_.root(), "_NET_WORKAREA");
    if (told.size() >= 4)
        area &= QRect(int(told[0]), int(told[1]), int(told[2]), int(told[3]));
    for (const xcb_window_t window : x_.allWindows()) {
        const auto strut = x_.values(window, "_NET_WM_STRUT_PARTIAL");
        if (strut.size() < 4 || !x_.isViewable(window))
            continue;
        area &= QRect(QPoint(), whole)
                    .adjusted(int(strut[0]), int(strut[2]), -int(strut[1]), -int(strut[3]));
    }
    return area;
}

std::vector<xcb_window_t> Desktop::programsWindows() const
{
    std::vector<xcb_window_t> windows = x_.allWindows();
    std::erase_if(windows, [&](xcb_window_t window) {
        return x_.text(window, "WM_CLASS").find("kivolo") == std::string::npos ||
               !x_.isViewable(window);
    });
    return windows;
}

QList<Card> Desktop::cards(const QSize &size) const
{
    QList<Card> found;
    for (const xcb_window_t window : programsWindows()) {
        // The window is larger by the shadow, which takes no clicks.
        QRect frame;
        for (const QRect &part : x_.inputShape(window))
            frame |= part;
        frame.translate(x_.geometry(window).topLeft());
        if (frame.size() == size)
            found.append({window, frame});
    }
    std::sort(found.begin(), found.end(),
              [](const Card &a, const Card &b) { return a.frame.top() < b.frame.top(); });
    return found;
}

QList<QRect> Desktop::frames() const
{
    QList<QRect> all;
    for (const QSize &size : {popup, capsule, buzz}) {
        for (const Card &card : cards(size))
            all.append(card.frame);
    }
    return all;
}

QRect Desktop::popupSlot(int i) const
{
    const QRect area = workArea();
    return {QPoint(area.x() + area.width() - 316, area.y() + 16 + 162 * i), popup};
}

QRect Desktop::capsuleSlot(int i) const
{
    const QRect area = workArea();
    return {{area.x() + area.width() - 306, area.y() + area.height() - 108 - 102 * i}, capsule};
}

QRect Desktop::buzzPlace() const
{
    const QRect area = workArea();
    return {{area.x() + area.width() / 2 - 210, area.y() + area.height() / 2 - 100}, buzz};
}

xcb_window_t Desktop::mainWindow() const
{
    for (const xcb_window_t window : programsWindows()) {
        if (x_.text(window, "WM_WINDOW_ROLE") == "main")
            return window;
    }
    return XCB_WINDOW_NONE;
}

bool Desktop::hasKeys(xcb_window_t window) const
{
    return keysFollowPointer() || x_.focus() == window;
}

std::vector<QRgb> Desktop::pixels(const QRect &area) const
{
    return (screen_ ? *screen_ : x_).pixels(area);
}

QColor Desktop::colorAt(const QPoint &point) const
{
    const auto pixel = pixels(QRect(point, QSize(1, 1)));
    return pixel.empty() ? QColor() : QColor::fromRgb(pixel.front());
}

qsizetype Desktop::colorsIn(const QRect &area) const
{
    const auto all = pixels(area);
    return QSet<QRgb>(all.begin(), all.end()).size();
}

void Desktop::input(const QStringList &actions) const
{
    QProcess xdotool;
    auto environment = QProcessEnvironment::systemEnvironment();
    if (isGuest())
        environment.insert(u"DISPLAY"_s, QString::fromLocal8Bit(screenName_));
    xdotool.setProcessEnvironment(environment);
    xdotool.start(u"xdotool"_s, actions);
    if (!xdotool.waitForFinished() || xdotool.exitCode() != 0)
        throw std::runtime_error("mouse and keys failed: " + actions.join(u' ').toStdString());
}

void Desktop::click(const QPoint &point) const
{
    input(pointerTo(point) + QStringList{u"sleep"_s, u"0.05"_s, u"click"_s, u"1"_s});
}

void Desktop::drag(const QPoint &from, const QPoint &to) const
{
    // As slowly as a hand, so that the desktop can follow.
    constexpr int steps = 12;
    QStringList actions =
        pointerTo(from) + QStringList{u"sleep"_s, u"0.1"_s, u"mousedown"_s, u"1"_s};
    for (int step = 1; step <= steps; ++step)
        actions +=
            pointerTo(from + (to - from) * step / steps) + QStringList{u"sleep"_s, u"0.02"_s};
    input(actions + QStringList{u"mouseup"_s, u"1"_s});
}

} // namespace kivolo
