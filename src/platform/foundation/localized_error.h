// Errors that carry a text for the person at the screen.
#pragma once

#include <QByteArray>
#include <QString>
#include <exception>

namespace kivolo {

/// Base of the program's errors.
class LocalizedError : public std::exception
{
public:
    explicit LocalizedError(const QString &description)
        : description_(description)
        , utf8_(description.toUtf8())
    {}

    /// A sentence that can be shown as it is, in the user's language.
    QString localizedDescription() const { return description_; }
    const char *what() const noexcept override { return utf8_.constData(); }

private:
    QString description_;
    QByteArray utf8_;
};

/// The text to show for any failure: the error's own, or what() of an error from elsewhere.
inline QString localizedDescription(const std::exception &error)
{
    if (const auto *localized = dynamic_cast<const LocalizedError *>(&error))
        return localized->localizedDescription();
    return QString::fromUtf8(error.what());
}

} // namespace kivolo
