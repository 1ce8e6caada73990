// Small values that outlive the program.
#pragma once

#include <QObject>
#include <QSettings>
#include <QString>
#include <functional>
#include <optional>

namespace kivolo {

/// The user's key-value store, one settings file. Main thread only. A value that cannot be written
/// to disk still holds for the rest of the run: a write that fails is not an error for its caller.
class UserDefaults : public QObject
{
    Q_OBJECT
public:
    /// Of a damaged file every value counts that stands in it whole, under a key that begins with
    /// `keyPrefix`; none if that is empty.
    explicit UserDefaults(const QString &file, const QString &keyPrefix = {});

    /// The file in the user's configuration folder where `program` has its settings.
    static QString fileOf(const QString &program);

    /// The string under `key`, absent when there is none. An empty string is a value.
    std::optional<QString> string(const QString &key) const;
    void setString(const QString &key, const QString &value);
    /// The string under `key`. Where there is none, the one that `make` returns is stored, and of
    /// programs that ask at the same moment one makes it and all get that.
    QString stringOrNew(const QString &key, const std::function<QString()> &make);

    /// The Boolean under `key`; false when there is none.
    bool boolean(const QString &key) const;
    void setBoolean(const QString &key, bool value);

Q_SIGNALS:
    /// The value under `key` has been set.
    void changed(const QString &key);

private:
    void salvage(const QString &keyPrefix);
    void set(const QString &key, const QVariant &value);

    QSettings settings_;
};

} // namespace kivolo
