// Reading JSON to the letter.
#pragma once

#include <QByteArray>
#include <QString>
#include <optional>
#include <simdjson.h>

namespace kivolo {

/// Reads one text; what it gives is valid as long as the reader.
class JsonReader
{
public:
    using Value = simdjson::dom::element;

    /// What `bytes` spell, in UTF-8 with or without a mark of its byte order; nothing
    /// when they are no JSON: broken UTF-8, half a surrogate pair and numbers
    /// that nothing holds are none. A number is an integer only if it is written in digits alone
    /// and fits 64 bits: what has a fraction or an exponent, even a zero, is not.
    std::optional<Value> read(const QByteArray &bytes);

private:
    simdjson::dom::parser parser_;
};

/// Of the values of that name in an object the last, which counts.
std::optional<JsonReader::Value> valueOf(const simdjson::dom::object &object, std::string_view key);

/// The text of a string, nothing for any other value.
std::optional<QString> textOf(const JsonReader::Value &value);

/// The text under that name, if `bytes` spell an object that has one.
std::optional<QString> textIn(const QByteArray &bytes, std::string_view key);

} // namespace kivolo
