// Small values that outlive the program.
#pragma once

#include <QObject>
#include <QSettings>
#include <QString>
#include <optional>

namespace kivolo {

/// The user's key-value store, one settings file in the user's configuration folder. Main thread
/// only. A value that cannot be written to disk still holds for the rest of the run: a write
/// that fails is not an error for its caller. Of a damaged file every value counts that stands in
/// it whole.
class UserDefaults : public QObject
{
    Q_OBJECT
public:
    /// The program's own file.
    UserDefaults();
    /// A file of the caller's choice.
    explicit UserDefaults(const QString &file);

    /// The string under `key`, absent when there is none. An empty string is a value.
    std::optional<QString> string(const QString &key) const;
    void setString(const QString &key, const QString &value);

    /// The Boolean under `key`; false when there is none.
    bool boolean(const QString &key) const;
    void setBoolean(const QString &key, bool value);

Q_SIGNALS:
    /// The value under `key` has been set.
    void changed(const QString &key);

private:
    void salvage();
    void set(const QString &key, const QVariant &value);

    QSettings settings_;
};

} // namespace kivolo
