// What the server makes of JSON, of queries and of texts, beside what others make of them. The
// first byte of an input says which of it is tried.

#include "fuzz.h"
#include "records/refusal.h"
#include "records/text.h"
#include "records/wire.h"
#include "routes/query.h"
#include "rules/checks.h"

#include <boost/beast/core/detail/base64.hpp>
#include <boost/json.hpp>

namespace kivolo::server {
namespace {

namespace base64 = boost::beast::detail::base64;
namespace json = boost::json;
using fuzz::require;
using Keys = std::initializer_list<std::string_view>;

/// What the call gives, or nothing where it refuses.
template<typename Call>
auto unlessRefused(Call &&call) -> std::optional<decltype(call())>
{
    try {
        return call();
    } catch (const Refusal &refusal) {
        require(*refusal.what() != '\0', "a refusal has a sentence");
        return std::nullopt;
    }
}

// JSON: the server's parser keeps a flat object, the library's own makes a tree.

/// Of an object what is there under those keys; nothing where it is not what it has to be.
std::optional<json::object> picked(const json::value &tree, Keys required, Keys optional,
                                   std::string_view number = {})
{
    json::object found;
    const auto take = [&](std::string_view key, bool needed, json::kind kind) {
        const json::value *value = tree.get_object().if_contains(key);
        if (!value || value->is_null())
            return !needed;
        found[key] = *value;
        return value->kind() == kind;
    };
    bool fits = tree.is_object();
    for (const std::string_view key : required)
        fits = fits && take(key, true, json::kind::string);
    for (const std::string_view key : optional)
        fits = fits && take(key, false, json::kind::string);
    fits = fits && (number.empty() || take(number, false, json::kind::int64));
    return fits ? std::optional(found) : std::nullopt;
}

template<typename Value>
void put(json::object &object, std::string_view key, const std::optional<Value> &value)
{
    if (value)
        object[key] = *value;
}

json::object spelled(const BeamRequest &request)
{
    json::object object{{"circle_id", request.seatKey},
                        {"from_member", request.fromMember},
                        {"type", request.type},
                        {"body", request.body}};
    put(object, "effect", request.effect);
    put(object, "open_at", request.openAt);
    return object;
}

json::object spelled(const JoinRequest &request)
{
    return {{"code", request.code},
            {"handle", request.handle},
            {"device_id", request.deviceId},
            {"emoji", request.emoji}};
}

json::object spelled(const CreateRequest &request)
{
    return {{"device_id", request.deviceId}, {"owner_email", request.ownerEmail}};
}

void tryReplies(const BeamRequest &request)
{
    const Beam beam{"1",  request.fromMember, request.type,   request.body,   2,
                    "\"", "\x1f\\",           request.effect, request.openAt, false};
    json::object expected = spelled(request);
    expected.erase("circle_id");
    for (const auto &[key, text] :
         {std::pair("id", "1"), {"from_handle", "\""}, {"from_emoji", "\x1f\\"}})
        expected[key] = text;
    expected["created_at"] = 2;
    const std::string said = wire::beam(beam);
    require(json::parse(said) == expected, "a reply says what was sent");
    require(said.size() <= wire::length(beam) + 6 * beam.effect.value_or("").size(),
            "a reply is as long as was foreseen");
    Beam sealed = beam;
    sealed.sealed = true;
    const json::value poll = json::parse(wire::poll({{sealed, beam}, 3}));
    require(poll.at("beams").at(0).at("body") == "" && poll.at("beams").at(1) == expected,
            "a capsule says nothing while it is sealed");
}

void tryJson(std::string_view text)
{
    boost::system::error_code error;
    json::value tree = json::parse(text, error);
    const bool wide = std::count(text.begin(), text.end(), ':') > 64;
    const auto agree = [&](const auto &request, const std::optional<json::object> &expected) {
        require(request || wide || !expected, "what is right is taken");
        require(!request || (expected && spelled(*request) == *expected),
                "it is taken to the letter");
    };
    const auto beam = unlessRefused([&] { return wire::beamRequest(text); });
    agree(beam, picked(tree, {"circle_id", "from_member", "type", "body"}, {"effect"}, "open_at"));
    if (beam) {
        tryReplies(*beam);
        unlessRefused([&] { return check(*beam, 1'800'000'000), true; });
    }
    if (json::object *object = tree.if_object()) { // What the server puts in where it is missing.
        for (const auto &[key, missing] :
             {std::pair("emoji", "\xF0\x9F\x92\x9C"), {"owner_email", ""}}) {
            json::value &value = (*object)[key];
            value = value.is_null() ? json::value(missing) : value;
        }
    }
    agree(unlessRefused([&] { return wire::joinRequest(text); }),
          picked(tree, {"code", "handle", "device_id", "emoji"}, {}));
    agree(unlessRefused([&] { return wire::createRequest(text); }),
          picked(tree, {"device_id", "owner_email"}, {}));
}

// Texts

bool isUtf8(std::string_view text)
{
    std::string quoted = "\"";
    for (const char c : text)
        quoted += c == '"' || c == '\\' || (c >= 0 && c < 0x20) ? 'x' : c;
    boost::system::error_code error;
    json::parse(quoted + '"', error);
    return !error;
}

/// Of a text that is UTF-8.
std::u32string pointsOf(std::string_view text)
{
    std::u32string points;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xc0U) == 0x80)
            points.back() = points.back() << 6 | (byte & 0x3fU);
        else
            points += static_cast<char32_t>(byte < 0x80 ? byte
                                                        : byte & (byte < 0xe0   ? 0x1fU
                                                                  : byte < 0xf0 ? 0xfU
                                                                                : 7U));
    }
    return points;
}

using Ranges = std::initializer_list<std::pair<char32_t, char32_t>>;

bool isIn(Ranges ranges, char32_t point)
{
    return std::any_of(ranges.begin(), ranges.end(), [point](const auto &range) {
        return point >= range.first && point <= range.second;
    });
}

/// What nobody sees, wherever it stands, or what turns around what is beside it.
bool isHidden(char32_t point)
{
    return isIn({{0x00, 0x1f},
                 {0x7f, 0x9f},
                 {0xad, 0xad},
                 {0x61c, 0x61c},
                 {0x115f, 0x1160},
                 {0x180e, 0x180e},
                 {0x200b, 0x200b},
                 {0x200e, 0x200f},
                 {0x2028, 0x202e},
                 {0x2060, 0x206f},
                 {0x3164, 0x3164},
                 {0xfeff, 0xfeff},
                 {0xffa0, 0xffa0},
                 {0xfff0, 0xfffb},
                 {0x1d173, 0x1d17a},
                 {0xe0000, 0xe001f},
                 {0xe0080, 0xe00ff},
                 {0xe01f0, 0xe0fff}},
                point);
}

/// What nobody sees but belongs to what stands before it.
bool isAddition(char32_t point)
{
    return isIn({{0x34f, 0x34f},
                 {0x200c, 0x200d},
                 {0xfe00, 0xfe0f},
                 {0xe0020, 0xe007f},
                 {0xe0100, 0xe01ef}},
                point);
}

void tryName(std::string_view text)
{
    const std::optional<std::size_t> count = codePoints(text);
    require(count.has_value() == isUtf8(text), "two decoders agree on UTF-8");
    const JoinRequest request{"CODE", std::string(text), "device", std::string(text)};
    const auto accepted = unlessRefused([&] { return check(request), true; });
    require(count || !accepted, "a name is UTF-8");
    if (!accepted)
        return;
    const std::u32string points = pointsOf(text);
    require(points.size() == *count && *count > 0 && *count <= 32, "a name has its length");
    require(std::none_of(points.begin(), points.end(), isHidden), "a name shows what it is");
    require(!isAddition(points.front()), "nothing invisible stands alone");
}

void tryPicture(std::string_view text)
{
    std::string bytes(base64::decoded_size(text.size()) + 3, '\0');
    bytes.resize(base64::decode(bytes.data(), text.data(), text.size()).first);
    std::string again(base64::encoded_size(bytes.size()), '\0');
    again.resize(base64::encode(again.data(), bytes.data(), bytes.size()));
    require(isBase64Png(text) == (again == text && bytes.starts_with("\x89PNG\r\n\x1a\n")),
            "Base64 is what its bytes are spelled as");
}

// Queries

void tryEscapes(std::string_view text)
{
    std::string code;
    for (const char c : text) {
        char escape[4];
        std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned char>(c));
        code += escape;
    }
    const bool sound = isUtf8(text) && text.find('\0') == text.npos;
    const auto expected = sound ? std::optional(std::string(text)) : std::nullopt;
    require(percentDecoded(code) == expected, "what is escaped comes back");
    const std::string target = "/x?a=1&name=" + code + "&names=2&nam=3";
    require(unlessRefused([&] { return queryText(target, "name"); }) == expected,
            "a parameter comes back");
}

void tryTarget(std::string_view text)
{
    const std::string target = "/beams?" + std::string(text);
    const auto value = unlessRefused([&] { return queryText(target, "since"); });
    require(!value || (isUtf8(*value) && value->find('\0') == value->npos), "a value is text");
    if (const auto number = unlessRefused([&] { return queryNumber(target, "since"); })) {
        const std::size_t zeros = std::min(value->find_first_not_of('0'), value->size() - 1);
        require(std::to_string(*number) == value->substr(zeros), "a number is what stands there");
    }
    const auto whole = unlessRefused([&] { return onlyQueryText(target, "device_id"); });
    require(!whole || whole == percentDecoded(text.substr(10)), "it reaches to the end");
}

} // namespace
} // namespace kivolo::server

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace kivolo::server;
    constexpr void (*tries[])(std::string_view) = {tryJson, tryName, tryPicture, tryEscapes,
                                                   tryTarget};
    if (size > 0)
        tries[data[0] % std::size(tries)](kivolo::fuzz::textOf(data + 1, size - 1));
    return 0;
}
