// What assistive technology is told of the programs on the desktop.
#pragma once

#include <QDBusConnection>
#include <QList>
#include <QRect>
#include <QString>
#include <optional>

class QDBusMessage;

namespace kivolo {

/// A thing on the screen: a window, a control, a text, a row. Only a reference: when the thing has
/// gone it has no name, no children and does nothing.
class Accessible
{
public:
    enum class State { Enabled = 8, Focused = 12, Showing = 25 };

    Accessible(QDBusConnection bus, QString service, QString path);

    QString name() const;
    QString description() const;
    /// In English and independent of the program's language, such as "push button".
    QString role() const;
    bool is(State state) const;
    QList<Accessible> children() const;
    /// In pixels of the screen.
    QRect extents() const;
    /// What stands in a field.
    QString text() const;

    /// Replaces what stands in a field. Whether there was a field that took it.
    bool setText(const QString &text) const;
    /// Does what a click does. False when there is nothing any more that could be pressed.
    bool press() const;

    /// The process behind it.
    qint64 processId() const;

private:
    QDBusMessage call(const char *interface, const QString &method,
                      const QVariantList &arguments = {}) const;
    QVariant property(const char *interface, const QString &name) const;

    QDBusConnection bus_;
    QString service_;
    QString path_;
};

/// The accessibility bus of the session; it starts by being asked for.
class AccessibilityBus
{
public:
    /// Throws std::runtime_error when the session has none.
    AccessibilityBus();
    ~AccessibilityBus();
    AccessibilityBus(const AccessibilityBus &) = delete;
    AccessibilityBus &operator=(const AccessibilityBus &) = delete;

    /// The program with this process id, once it has come onto the bus.
    std::optional<Accessible> program(qint64 processId) const;

private:
    QDBusConnection bus_;
};

} // namespace kivolo
