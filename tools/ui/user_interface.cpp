#include "ui/user_interface.h"

#include "ui/x_windows.h"

#include <QDeadlineTimer>
#include <QProcess>
#include <QThread>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace kivolo {

using namespace Qt::StringLiterals;

namespace {

constexpr unsigned long pollStep = 40; // milliseconds
constexpr int keyPause = 40;           // between two keys, so that it can be watched

const QStringList &buttons()
{
    static const QStringList roles{u"push button"_s, u"button menu"_s, u"menu item"_s};
    return roles;
}

const QStringList &fields()
{
    static const QStringList roles{u"text"_s};
    return roles;
}

QStringList pointer(const QPoint &at)
{
    return {u"mousemove"_s, QString::number(at.x()), QString::number(at.y())};
}

QPoint heart(const QRect &canvas, double turn)
{
    const double t = turn * 2 * std::numbers::pi;
    const double x = 16 * std::pow(std::sin(t), 3);
    const double y = 13 * std::cos(t) - 5 * std::cos(2 * t) - 2 * std::cos(3 * t) - std::cos(4 * t);
    const double unit = canvas.height() / 40.0;
    return canvas.center() + QPointF(x * unit, -y * unit).toPoint();
}

} // namespace

UserInterface::UserInterface(const AccessibilityBus &bus, qint64 processId,
                             std::chrono::milliseconds patience)
    : bus_(bus)
    , processId_(processId)
    , patience_(patience)
{}

bool UserInterface::visitBelow(const Accessible &parent, int depth, const Visitor &stopsAt) const
{
    for (const Accessible &child : parent.children()) {
        if (!child.is(Accessible::State::Showing))
            continue;
        if (stopsAt({child, child.role(), child.name(), depth}) ||
            visitBelow(child, depth + 1, stopsAt))
            return true;
    }
    return false;
}

bool UserInterface::visit(const Visitor &stopsAt) const
{
    const auto program = bus_.program(processId_);
    return program && visitBelow(*program, 0, stopsAt);
}

void UserInterface::await(const std::string &what, const std::function<bool()> &condition)
{
    const QDeadlineTimer deadline(patience_);
    while (!condition()) {
        if (deadline.hasExpired())
            throw std::runtime_error("waited in vain for " + what + "; on the screen was:\n" +
                                     tree().toStdString());
        QThread::msleep(pollStep);
    }
}

void UserInterface::await(const QString &text)
{
    await('"' + text.toStdString() + '"',
          [&] { return visit([&](const Element &element) { return element.name == text; }); });
}

Accessible UserInterface::awaitElement(const QString &name, const QStringList &roles)
{
    std::optional<Accessible> found;
    const auto isIt = [&](const Element &element) {
        if (element.name != name || !roles.contains(element.role) ||
            !element.accessible.is(Accessible::State::Enabled))
            return false;
        found = element.accessible;
        return true;
    };
    await(roles.constFirst().toStdString() + " \"" + name.toStdString() + '"',
          [&] { return visit(isIt); });
    return *found;
}

void UserInterface::press(const QString &button)
{
    // One that goes between being found and being pressed may come back.
    await("a press of \"" + button.toStdString() + '"',
          [&] { return awaitElement(button, buttons()).press(); });
}

void UserInterface::fill(const QString &field, const QString &text)
{
    await("a text in \"" + field.toStdString() + '"',
          [&] { return awaitElement(field, fields()).setText(text); });
}

void UserInterface::click(const QString &button)
{
    bringToTheFront();
    const QPoint target = awaitElement(button, buttons()).extents().center();
    input(pointer(target) + QStringList{u"click"_s, u"1"_s});
}

void UserInterface::type(const QString &field, const QString &text)
{
    bringToTheFront();
    const QPoint target = awaitElement(field, fields()).extents().center();
    input(pointer(target) + QStringList{u"click"_s, u"1"_s, u"type"_s, u"--delay"_s,
                                        QString::number(keyPause), text});
}

void UserInterface::draw()
{
    constexpr int steps = 60;
    bringToTheFront();
    const QRect canvas = awaitElement(u"Doodle"_s, {u"canvas"_s}).extents();
    QStringList actions = pointer(heart(canvas, 0)) + QStringList{u"mousedown"_s, u"1"_s};
    for (int step = 1; step <= steps; ++step)
        actions +=
            pointer(heart(canvas, double(step) / steps)) + QStringList{u"sleep"_s, u"0.01"_s};
    input(actions + QStringList{u"mouseup"_s, u"1"_s});
}

void UserInterface::place(const QPoint &topLeft)
{
    constexpr std::uint32_t itsOwnGravity = 0;
    constexpr std::uint32_t onlyPosition = 3 << 8;
    constexpr std::uint32_t fromATool = 2 << 12;
    const XWindows server;
    server.ask(awaitMainWindow(server), "_NET_MOVERESIZE_WINDOW",
               {itsOwnGravity | onlyPosition | fromATool, std::uint32_t(topLeft.x()),
                std::uint32_t(topLeft.y()), 0, 0});
}

std::uint32_t UserInterface::awaitMainWindow(const XWindows &server)
{
    std::uint32_t found = 0;
    await("the main window", [&] {
        for (const std::uint32_t window : server.windows()) {
            const auto owner = server.values(window, "_NET_WM_PID");
            if (!owner.empty() && owner.front() == processId_ &&
                server.text(window, "WM_WINDOW_ROLE") == "main" && server.isViewable(window))
                found = window;
        }
        return found != 0;
    });
    return found;
}

void UserInterface::bringToTheFront()
{
    constexpr std::uint32_t fromATool = 2;
    const XWindows server;
    const std::uint32_t window = awaitMainWindow(server);
    server.ask(window, "_NET_ACTIVE_WINDOW", {fromATool, XCB_CURRENT_TIME, 0, 0, 0});
    await("the window in front", [&] { return server.activeWindow() == window; });
}

void UserInterface::input(const QStringList &actions) const
{
    if (QProcess::execute(u"xdotool"_s, actions) != 0)
        throw std::runtime_error("mouse and keys failed: " + actions.join(u' ').toStdString());
}

QStringList UserInterface::texts() const
{
    QStringList found;
    visit([&](const Element &element) {
        if (!element.name.isEmpty())
            found.append(element.name);
        if (fields().contains(element.role))
            found.append(element.accessible.text());
        return false;
    });
    return found;
}

QStringList UserInterface::rows() const
{
    QStringList found;
    visit([&](const Element &element) {
        if (element.role == "list item"_L1)
            found.append(element.name);
        return false;
    });
    return found;
}

bool UserInterface::shows(const QString &name, const QString &description) const
{
    return visit([&](const Element &element) {
        return element.name == name &&
               (description.isEmpty() || element.accessible.description().startsWith(description));
    });
}

QString UserInterface::tree() const
{
    if (!bus_.program(processId_))
        return u"nothing: the program is not on the bus\n"_s;
    QString drawn;
    visit([&](const Element &element) {
        if (element.role == "filler"_L1 && element.name.isEmpty())
            return false; // it only holds others
        drawn += QString(2 * element.depth, u' ') + element.role + u" \""_s + element.name + u'"';
        if (fields().contains(element.role))
            drawn += u" = \""_s + element.accessible.text() + u'"';
        if (const QString description = element.accessible.description(); !description.isEmpty())
            drawn += u", \""_s + description + u'"';
        drawn += u'\n';
        return false;
    });
    return drawn.isEmpty() ? u"nothing\n"_s : drawn;
}

} // namespace kivolo
