#include "text.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <utf8proc.h>

namespace kivolo::server {

namespace {

constexpr std::uint8_t notBase64 = 0xff;

constexpr std::array<std::uint8_t, 256> base64Values = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(notBase64);
    std::uint8_t value = 0;
    for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                         "0123456789+/"))
        values[static_cast<unsigned char>(c)] = value++;
    return values;
}();

std::uint8_t base64Value(char c)
{
    return base64Values[static_cast<unsigned char>(c)];
}

/// The length of the well-formed sequence that the text begins with, or 0.
std::size_t sequenceLength(std::string_view text)
{
    const auto byte = [&](std::size_t i) -> unsigned {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
    };
    const auto continues = [&](std::size_t i) { return (byte(i) & 0xc0u) == 0x80u; };
    const unsigned lead = byte(0);
    if (lead < 0x80)
        return 1;
    if (lead >= 0xc2 && lead <= 0xdf)
        return continues(1) ? 2 : 0;
    if (lead >= 0xe0 && lead <= 0xef) {
        const bool overlong = lead == 0xe0 && byte(1) < 0xa0;
        const bool surrogate = lead == 0xed && byte(1) > 0x9f;
        return continues(1) && continues(2) && !overlong && !surrogate ? 3 : 0;
    }
    if (lead >= 0xf0 && lead <= 0xf4) {
        const bool overlong = lead == 0xf0 && byte(1) < 0x90;
        const bool beyond = lead == 0xf4 && byte(1) > 0x8f;
        return continues(1) && continues(2) && continues(3) && !overlong && !beyond ? 4 : 0;
    }
    return 0;
}

/// Takes the first code point off a text that is UTF-8.
char32_t takeCodePoint(std::string_view &text)
{
    utf8proc_int32_t point = 0;
    const auto *bytes = reinterpret_cast<const utf8proc_uint8_t *>(text.data());
    const utf8proc_ssize_t length =
        utf8proc_iterate(bytes, static_cast<utf8proc_ssize_t>(text.size()), &point);
    text.remove_prefix(static_cast<std::size_t>(length));
    return static_cast<char32_t>(point);
}

const utf8proc_property_t &propertyOf(char32_t point)
{
    return *utf8proc_get_property(static_cast<utf8proc_int32_t>(point));
}

/// Kept free for what will be invisible. The tables know them as little as tomorrow's emoji, which
/// will be seen.
bool isReservedInvisible(char32_t point)
{
    return point == 0x2065 || (point >= 0xfff0 && point <= 0xfff8) ||
           (point >= 0xe0000 && point <= 0xe0fff);
}

bool isVisible(char32_t point)
{
    const utf8proc_property_t &property = propertyOf(point);
    switch (property.category) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
        return false;
    default:
        return !property.ignorable && !isReservedInvisible(point);
    }
}

bool isEmoji(char32_t point)
{
    const bool skinTone = point >= 0x1f3fb && point <= 0x1f3ff;
    return skinTone || propertyOf(point).boundclass == UTF8PROC_BOUNDCLASS_EXTENDED_PICTOGRAPHIC;
}

/// Whether that invisible code point has something to say about the one before it.
bool mayFollow(char32_t before, char32_t point)
{
    constexpr char32_t nonJoiner = 0x200c;
    constexpr char32_t joiner = 0x200d;
    constexpr char32_t emojiSelector = 0xfe0f;
    constexpr char32_t blackFlag = 0x1f3f4; // of a region: the letters of its name follow as tags
    const bool spelledWithJoiners = before >= 0x600 && before < 0xe00; // Arabic to Sinhala
    const auto isTag = [](char32_t c) { return c >= 0xe0020 && c <= 0xe007f; };
    if (point == joiner)
        return spelledWithJoiners || isEmoji(before) || before == emojiSelector;
    if (point == nonJoiner)
        return spelledWithJoiners;
    if (isTag(point))
        return before == blackFlag || isTag(before);
    // Selectors of a character's variant, which are the invisible ones among the marks.
    return before != 0 && isVisible(before) && propertyOf(point).category == UTF8PROC_CATEGORY_MN;
}

} // namespace

bool isBlank(std::string_view text)
{
    while (!text.empty()) {
        const char32_t point = takeCodePoint(text);
        if (point != U'\t' && utf8proc_category(static_cast<int>(point)) != UTF8PROC_CATEGORY_ZS)
            return false;
    }
    return true;
}

bool showsAsWritten(std::string_view text)
{
    for (char32_t before = 0; !text.empty();) {
        const char32_t point = takeCodePoint(text);
        if (!isVisible(point) && !mayFollow(before, point))
            return false;
        before = point;
    }
    return true;
}

std::optional<std::size_t> codePoints(std::string_view text)
{
    std::size_t count = 0;
    for (; !text.empty(); ++count) {
        const std::size_t length = sequenceLength(text);
        if (length == 0)
            return std::nullopt;
        text.remove_prefix(length);
    }
    return count;
}

bool isBase64Png(std::string_view text)
{
    // The signature's 8 bytes are 10 characters and 4 bits of the next.
    constexpr std::string_view signature = "iVBORw0KGg";
    if (text.size() % 4 != 0 || text.size() < 12 || !text.starts_with(signature) ||
        base64Value(text[10]) >> 2 != base64Value('o') >> 2)
        return false;
    unsigned leftOver = 0;
    if (text.ends_with('=')) {
        const bool two = text.ends_with("==");
        leftOver = two ? 0x0f : 0x03;
        text.remove_suffix(two ? 2 : 1);
    }
    for (const char c : text) {
        if (base64Value(c) == notBase64)
            return false;
    }
    return (base64Value(text.back()) & leftOver) == 0;
}

std::optional<std::string> percentDecoded(std::string_view text)
{
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        unsigned value = 0;
        const std::string_view digits = text.substr(i + 1, 2);
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
        if (digits.size() != 2 || error != std::errc() || end != digits.data() + 2)
            return std::nullopt;
        decoded += static_cast<char>(value);
        i += 2;
    }
    if (!codePoints(decoded) || decoded.find('\0') != std::string::npos)
        return std::nullopt;
    return decoded;
}

} // namespace kivolo::server
