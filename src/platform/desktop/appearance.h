// What the desktop is set to: light or dark, with or without motion.
#pragma once

#include "platform/desktop/session_bus.h"

#include <QDBusVariant>
#include <QObject>
#include <array>
#include <optional>

namespace kivolo {

/// What the user has chosen for the whole desktop, as its settings portal tells it
/// (org.freedesktop.portal.Settings on the session bus). Nothing here waits for the bus or the
/// portal: where one is missing, slow or answers nonsense, the desktop simply says nothing.
/// Main thread only.
class Appearance final : public QObject
{
    Q_OBJECT
public:
    /// Begins to ask at once; `connect` makes the connection, see SessionBus.
    explicit Appearance(SessionBus::Connect connect = &QDBusConnection::sessionBus);
    ~Appearance() override;

    /// Absent while the desktop has not said anything, or has no preference.
    std::optional<bool> prefersDark() const { return prefersDark_; }

    /// Whether the user has asked for less motion, or for no animations at all.
    bool reducesMotion() const { return reducedMotion_ || animationsOff_; }

Q_SIGNALS:
    /// prefersDark() has another value.
    void changed();
    /// reducesMotion() has another value.
    void motionChanged();

private Q_SLOTS:
    // By name, because a bus connects to nothing else.
    void settingChanged(const QString &group, const QString &key, const QDBusVariant &value);

private:
    void listen();
    struct Setting
    {
        QString group;
        QString key;
        void (Appearance::*take)(const QVariant &value);
    };
    static const std::array<Setting, 3> &settings();

    void ask(const Setting &setting, const QString &method);
    void takeColorScheme(const QVariant &value);
    void takeReducedMotion(const QVariant &value);
    void takeAnimations(const QVariant &value);
    void setMotion(bool &aspect, bool reduced);

    SessionBus bus_;
    std::optional<bool> prefersDark_;
    bool reducedMotion_ = false;
    bool animationsOff_ = false;
};

} // namespace kivolo
