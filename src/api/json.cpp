#include "api/json.h"

#include <QStringDecoder>

namespace kivolo {

namespace dom = simdjson::dom;

std::optional<JsonReader::Value> JsonReader::read(const QByteArray &bytes)
{
    static constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
    std::string_view text(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    if (text.starts_with(byteOrderMark))
        text.remove_prefix(byteOrderMark.size());

    Value value;
    if (parser_.parse(text.data(), text.size()).get(value) != simdjson::SUCCESS)
        return std::nullopt;
    return value;
}

std::optional<JsonReader::Value> valueOf(const dom::object &object, std::string_view key)
{
    std::optional<JsonReader::Value> last;
    for (const dom::key_value_pair &field : object) {
        if (field.key == key)
            last = field.value;
    }
    return last;
}

std::optional<QString> textOf(const JsonReader::Value &value)
{
    std::string_view text;
    if (value.get(text) != simdjson::SUCCESS)
        return std::nullopt;
    // A mark of the byte order in front of it belongs to the text.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    return decoder(QByteArrayView(text.data(), static_cast<qsizetype>(text.size())));
}

std::optional<QString> textIn(const QByteArray &bytes, std::string_view key)
{
    JsonReader reader;
    const std::optional<JsonReader::Value> value = reader.read(bytes);
    dom::object object;
    if (!value || value->get(object) != simdjson::SUCCESS)
        return std::nullopt;
    const std::optional<JsonReader::Value> text = valueOf(object, key);
    return text ? textOf(*text) : std::nullopt;
}

} // namespace kivolo
