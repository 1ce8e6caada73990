#include "wire.h"

#include "refusal.h"

#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>

namespace kivolo::server::wire {

namespace json = boost::json;

namespace {

[[noreturn]] void invalid(const std::string &sentence)
{
    throw Refusal(Refusal::Reason::Invalid, sentence);
}

json::object parsedObject(std::string_view text)
{
    boost::system::error_code error;
    json::value value = json::parse(text, error);
    if (error || !value.is_object())
        invalid("The request could not be understood.");
    return std::move(value.as_object());
}

const json::value *present(const json::object &object, std::string_view key)
{
    const json::value *value = object.if_contains(key);
    return value && !value->is_null() ? value : nullptr;
}

std::optional<std::string> optionalText(const json::object &object, std::string_view key)
{
    const json::value *value = present(object, key);
    if (!value)
        return std::nullopt;
    if (!value->is_string())
        invalid("The request is wrong: \"" + std::string(key) + "\" has to be a text.");
    const json::string &text = value->get_string();
    return std::string(text.data(), text.size());
}

std::string requiredText(const json::object &object, std::string_view key)
{
    std::optional<std::string> text = optionalText(object, key);
    if (!text)
        invalid("The request is incomplete: \"" + std::string(key) + "\" is missing.");
    return std::move(*text);
}

std::optional<Seconds> optionalSeconds(const json::object &object, std::string_view key)
{
    const json::value *value = present(object, key);
    if (!value)
        return std::nullopt;
    if (!value->is_int64())
        invalid("The request is wrong: \"" + std::string(key) + "\" has to be a whole number.");
    return value->get_int64();
}

// On the wire a seat's key is called "circle_id": to a member it is what opens the circle.

// Replies are written straight into one string: a reply can hold many megabytes of doodles, and
// a tree of values would hold them once more.
bool needsEscape(char c)
{
    return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
}

void putText(std::string &out, std::string_view text)
{
    constexpr std::string_view digits = "0123456789abcdef";
    out += '"';
    std::size_t clean = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (!needsEscape(c))
            continue;
        out.append(text, clean, i - clean);
        clean = i + 1;
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else {
            out += "\\u00";
            out += digits[static_cast<unsigned char>(c) >> 4];
            out += digits[c & 0x0f];
        }
    }
    out.append(text, clean);
    out += '"';
}

void putKey(std::string &out, std::string_view key)
{
    if (out.back() != '{')
        out += ',';
    out += '"';
    out += key;
    out += "\":";
}

void putField(std::string &out, std::string_view key, std::string_view text)
{
    putKey(out, key);
    putText(out, text);
}

void putField(std::string &out, std::string_view key, std::int64_t number)
{
    putKey(out, key);
    out += std::to_string(number);
}

void putMembers(std::string &out, const std::vector<Member> &members)
{
    putKey(out, "members");
    out += '[';
    for (const Member &member : members) {
        out += &member == &members.front() ? "{" : ",{";
        putField(out, "id", member.id);
        putField(out, "handle", member.handle);
        putField(out, "emoji", member.emoji);
        out += '}';
    }
    out += ']';
}

void putBeam(std::string &out, const Beam &beam)
{
    out += '{';
    putField(out, "id", beam.id);
    putField(out, "from_member", beam.fromMember);
    putField(out, "type", beam.type);
    putField(out, "body", beam.sealed ? std::string_view() : beam.body);
    putField(out, "created_at", beam.createdAt);
    putField(out, "from_handle", beam.fromHandle);
    putField(out, "from_emoji", beam.fromEmoji);
    if (beam.effect)
        putField(out, "effect", *beam.effect);
    if (beam.openAt)
        putField(out, "open_at", *beam.openAt);
    if (beam.sealed)
        putField(out, "sealed", 1);
    out += '}';
}

void putBeams(std::string &out, const std::vector<Beam> &beams)
{
    std::size_t total = 0;
    for (const Beam &beam : beams)
        total += beam.body.size() + 512;
    out.reserve(total + 64);
    putKey(out, "beams");
    out += '[';
    for (const Beam &beam : beams) {
        if (&beam != &beams.front())
            out += ',';
        putBeam(out, beam);
    }
    out += ']';
}

} // namespace

CreateRequest createRequest(std::string_view text)
{
    const json::object object = parsedObject(text);
    return {requiredText(object, "device_id"), optionalText(object, "owner_email").value_or("")};
}

JoinRequest joinRequest(std::string_view text)
{
    const json::object object = parsedObject(text);
    return {requiredText(object, "code"), requiredText(object, "handle"),
            requiredText(object, "device_id"),
            optionalText(object, "emoji").value_or("\xF0\x9F\x92\x9C")}; // a purple heart
}

BeamRequest beamRequest(std::string_view text)
{
    const json::object object = parsedObject(text);
    return {requiredText(object, "circle_id"), requiredText(object, "from_member"),
            requiredText(object, "type"),      requiredText(object, "body"),
            optionalText(object, "effect"),    optionalSeconds(object, "open_at")};
}

std::string created(const Founding &founding)
{
    std::string out = "{";
    putField(out, "circle_id", founding.key);
    putField(out, "code", founding.circle.code);
    putField(out, "max_seats", founding.circle.maxSeats);
    return out += '}';
}

std::string joined(const Membership &membership)
{
    const Seat &seat = membership.seat;
    std::string out = "{";
    putField(out, "circle_id", seat.key);
    putField(out, "member_id", seat.member.id);
    putField(out, "code", seat.circle.code);
    putField(out, "max_seats", seat.circle.maxSeats);
    putMembers(out, membership.members);
    return out += '}';
}

std::string status(const std::optional<Membership> &membership)
{
    if (!membership)
        return R"({"joined":false})";
    const Seat &seat = membership->seat;
    std::string out = R"({"joined":true)";
    putField(out, "circle_id", seat.key);
    putField(out, "code", seat.circle.code);
    putField(out, "member_id", seat.member.id);
    putField(out, "handle", seat.member.handle);
    putField(out, "max_seats", seat.circle.maxSeats);
    putMembers(out, membership->members);
    return out += '}';
}

std::string accepted(const Beam &beam)
{
    std::string out = R"({"ok":true)";
    putField(out, "id", beam.id);
    putField(out, "created_at", beam.createdAt);
    return out += '}';
}

std::string poll(const Poll &poll)
{
    std::string out = "{";
    putBeams(out, poll.beams);
    putField(out, "server_time", poll.serverTime);
    return out += '}';
}

std::string history(const std::vector<Beam> &beams)
{
    std::string out = "{";
    putBeams(out, beams);
    return out += '}';
}

std::string beam(const Beam &beam)
{
    std::string out;
    putBeam(out, beam);
    return out;
}

std::size_t length(const Beam &beam)
{
    // What stands around the texts: keys, punctuation, two times, the mark of a sealed capsule.
    constexpr std::size_t frame = 200;
    std::size_t total = frame;
    for (const std::string *text :
         {&beam.id, &beam.fromMember, &beam.type, &beam.body, &beam.fromHandle, &beam.fromEmoji}) {
        for (const char c : *text)
            total += needsEscape(c) ? (c == '"' || c == '\\' ? 2u : 6u) : 1u;
    }
    return total;
}

} // namespace kivolo::server::wire
