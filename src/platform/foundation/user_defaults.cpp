#include "platform/foundation/user_defaults.h"

#include <QFile>
#include <QRegularExpression>

namespace kivolo {

UserDefaults::UserDefaults()
    : settings_(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("kivolo"),
                QStringLiteral("kivolo"))
{
    // A file for all users of the machine would give them all one device id.
    settings_.setFallbacksEnabled(false);
    salvage();
}

UserDefaults::UserDefaults(const QString &file)
    : settings_(file, QSettings::IniFormat)
{
    salvage();
}

// One broken line, a section's name or a value without its closing quote, makes what follows it
// unreadable, and the next write would drop it.
void UserDefaults::salvage()
{
    constexpr qint64 longerThanAnyIntactFile = 64 * 1024;
    QFile file(settings_.fileName());
    if (!file.open(QIODevice::ReadOnly))
        return;
    static const QRegularExpression entry(QStringLiteral("(kivolo_\\w+)=([\\w-]+)\\r?$"),
                                          QRegularExpression::MultilineOption);
    const QString text = QString::fromUtf8(file.read(longerThanAnyIntactFile));
    for (auto found = entry.globalMatch(text); found.hasNext();) {
        const QRegularExpressionMatch match = found.next();
        if (!settings_.contains(match.captured(1)))
            settings_.setValue(match.captured(1), match.captured(2));
    }
}

std::optional<QString> UserDefaults::string(const QString &key) const
{
    const QVariant value = settings_.value(key);
    return value.metaType() == QMetaType::fromType<QString>() ? std::optional(value.toString())
                                                              : std::nullopt;
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
