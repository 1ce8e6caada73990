#include "platform/foundation/user_defaults.h"

namespace kivolo {

UserDefaults::UserDefaults()
    : settings_(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("kivolo"),
                QStringLiteral("kivolo"))
{
    // A file for all users of the machine would give them all one device id.
    settings_.setFallbacksEnabled(false);
}

UserDefaults::UserDefaults(const QString &file)
    : settings_(file, QSettings::IniFormat)
{}

std::optional<QString> UserDefaults::string(const QString &key) const
{
    if (!settings_.contains(key))
        return std::nullopt;
    return settings_.value(key).toString();
}

void UserDefaults::setString(const QString &key, const QString &value)
{
    set(key, value);
}

bool UserDefaults::boolean(const QString &key) const
{
    return settings_.value(key, false).toBool();
}

void UserDefaults::setBoolean(const QString &key, bool value)
{
    set(key, value);
}

void UserDefaults::set(const QString &key, const QVariant &value)
{
    settings_.setValue(key, value);
    // At once, so that a crash a moment later loses nothing; a failure stays in the settings'
    // status, which nobody asks for.
    settings_.sync();
    Q_EMIT changed(key);
}

} // namespace kivolo
