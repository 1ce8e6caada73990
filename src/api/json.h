// Reading JSON to the letter.
#pragma once

#include <QByteArray>
#include <QString>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <optional>

namespace kivolo {

/// The object that `bytes` spell, in UTF-8 with or without a mark of its byte order; nothing when
/// they spell another value or are no JSON: broken UTF-8 and half a surrogate pair are none. Of two
/// values of one name the later counts. A number is an int64 only if it is written in digits alone
/// and fits: what has a fraction or an exponent, even a zero, is not.
std::optional<boost::json::object> jsonObject(const QByteArray &bytes);

/// The text of a JSON string.
inline QString toText(const boost::json::string &string)
{
    return QString::fromUtf8(string.data(), static_cast<qsizetype>(string.size()));
}

} // namespace kivolo
