#include "platform/foundation/user_defaults.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <algorithm>

namespace kivolo {

static bool isOneWord(QStringView text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](QChar c) {
        return c.isLetterOrNumber() || c == u'_' || c == u'-';
    });
}

// By its path it is this one file: those for all users of the machine do not count, which would
// give them all one identity.
UserDefaults::UserDefaults(const QString &file, const QString &keyPrefix)
    : settings_(file, QSettings::IniFormat)
{
    salvage(keyPrefix);
}

QString UserDefaults::fileOf(const QString &program)
{
    return QSettings(QSettings::IniFormat, QSettings::UserScope, program, program).fileName();
}

// One broken line, a section's name or a value without its closing quote, makes what follows it
// unreadable, and the next write would drop it.
void UserDefaults::salvage(const QString &keyPrefix)
{
    constexpr qint64 longerThanAnyIntactFile = 64 * 1024;
    QFile file(settings_.fileName());
    if (keyPrefix.isEmpty() || !file.open(QIODevice::ReadOnly))
        return;
    const QString text = QString::fromUtf8(file.read(longerThanAnyIntactFile));
    for (const QStringView line : QStringView(text).split(u'\n')) {
        // What is broken may stand on the same line, before the key.
        const qsizetype equals = line.lastIndexOf(u'=');
        const qsizetype start = line.left(qMax(0, equals)).lastIndexOf(keyPrefix);
        if (start < 0)
            continue;
        const QStringView key = line.sliced(start, equals - start);
        const QStringView value = line.sliced(equals + 1).trimmed();
        if (isOneWord(key) && isOneWord(value) && !settings_.contains(key))
            settings_.setValue(key, value.toString());
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

QString UserDefaults::stringOrNew(const QString &key, const std::function<QString()> &make)
{
    if (const auto stored = string(key))
        return *stored;
    // A lock of its own: the settings take theirs for the time of a single write. Where the folder
    // lets nobody lock, it lets nobody write either.
    constexpr int patience = 2000;
    const QString file = settings_.fileName();
    QDir().mkpath(QFileInfo(file).path());
    QLockFile lock(file + QLatin1String(".new"));
    lock.tryLock(patience);
    settings_.sync();
    if (const auto stored = string(key))
        return *stored;
    QString made = make();
    setString(key, made);
    return made;
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
