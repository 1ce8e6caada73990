// A person at one of the programs on the desktop.
#pragma once

#include "ui/accessibility_bus.h"

#include <QPoint>
#include <QStringList>
#include <chrono>
#include <cstdint>
#include <functional>

namespace kivolo {

class XWindows;

/// Uses a program by the names of what it shows. What does not show yet is waited for; what does
/// not come is a std::runtime_error that tells what was awaited and what was there instead.
class UserInterface
{
public:
    /// `bus` must outlive it.
    UserInterface(const AccessibilityBus &bus, qint64 processId,
                  std::chrono::milliseconds patience = std::chrono::seconds(30));

    // Through the accessibility bus alone, whatever lies over the window.
    void press(const QString &button);
    void fill(const QString &field, const QString &text);

    // With the mouse and the keys, which brings the window to the front.
    void click(const QString &button);
    void type(const QString &field, const QString &text);
    /// A heart on the canvas, in one stroke.
    void draw();
    /// Moves the main window.
    void place(const QPoint &topLeft);

    /// Waits for a text or a name.
    void await(const QString &text);
    void await(const std::string &what, const std::function<bool()> &condition);

    /// What shows from the top down: the names of texts, buttons, rows and cards, and what stands
    /// in fields.
    QStringList texts() const;
    /// The rows of the list that shows, from the top down.
    QStringList rows() const;
    /// Whether something with this name shows, whose description begins with `description`.
    bool shows(const QString &name, const QString &description = {}) const;
    /// All that shows as an indented tree of roles and names.
    QString tree() const;

private:
    struct Element
    {
        Accessible accessible;
        QString role;
        QString name;
        int depth;
    };
    using Visitor = std::function<bool(const Element &)>;
    bool visit(const Visitor &stopsAt) const;
    bool visitBelow(const Accessible &parent, int depth, const Visitor &stopsAt) const;
    Accessible awaitElement(const QString &name, const QStringList &roles);
    std::uint32_t awaitMainWindow(const XWindows &server);
    void bringToTheFront();
    void input(const QStringList &actions) const;

    const AccessibilityBus &bus_;
    qint64 processId_;
    std::chrono::milliseconds patience_;
};

} // namespace kivolo
