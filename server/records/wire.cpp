#include "wire.h"

#include "refusal.h"

#include <algorithm>
#include <boost/json/basic_parser_impl.hpp>
#include <variant>

namespace kivolo::server::wire {

namespace json = boost::json;

namespace {

[[noreturn]] void invalid(const std::string &sentence)
{
    throw Refusal(Refusal::Reason::Invalid, sentence);
}

/// The values of one object, as they come. A tree of everything would take thirty times a hostile
/// request's size; of what lies deeper nothing is kept, because no request of ours has it.
class FlatObject
{
public:
    static constexpr std::size_t max_object_size = std::size_t(-1);
    static constexpr std::size_t max_array_size = std::size_t(-1);
    static constexpr std::size_t max_key_size = std::size_t(-1);
    static constexpr std::size_t max_string_size = std::size_t(-1);

    struct Other
    {};
    using Value = std::variant<std::nullptr_t, std::string, std::int64_t, Other>;

    /// Nothing also where it is null. Of two values with the same key the later one counts.
    const Value *present(std::string_view key) const
    {
        const auto found = std::find_if(values_.rbegin(), values_.rend(),
                                        [&](const auto &value) { return value.first == key; });
        if (found == values_.rend() || std::holds_alternative<std::nullptr_t>(found->second))
            return nullptr;
        return &found->second;
    }

    // What the parser calls. False stops it.
    using Error = boost::system::error_code;
    bool on_document_begin(Error &) { return true; }
    bool on_document_end(Error &) { return true; }
    bool on_object_begin(Error &error) { return open(true, error); }
    bool on_object_end(std::size_t, Error &error) { return close(error); }
    bool on_array_begin(Error &error) { return open(false, error); }
    bool on_array_end(std::size_t, Error &error) { return close(error); }
    bool on_key_part(json::string_view part, std::size_t, Error &) { return append(part); }
    bool on_key(json::string_view part, std::size_t, Error &error)
    {
        append(part);
        if (depth_ == 1)
            values_.emplace_back(std::exchange(text_, {}), nullptr);
        return values_.size() <= mostKeys || stop(error);
    }
    bool on_string_part(json::string_view part, std::size_t, Error &) { return append(part); }
    bool on_string(json::string_view part, std::size_t, Error &error)
    {
        append(part);
        return put(std::exchange(text_, {}), error);
    }
    bool on_number_part(json::string_view, Error &) { return true; }
    bool on_int64(std::int64_t number, json::string_view, Error &error)
    {
        return put(number, error);
    }
    bool on_uint64(std::uint64_t, json::string_view, Error &error) { return put(Other(), error); }
    bool on_double(double, json::string_view, Error &error) { return put(Other(), error); }
    bool on_bool(bool, Error &error) { return put(Other(), error); }
    bool on_null(Error &error) { return put(nullptr, error); }
    bool on_comment_part(json::string_view, Error &) { return true; }
    bool on_comment(json::string_view, Error &) { return true; }

private:
    static constexpr std::size_t mostKeys = 64;

    static bool stop(Error &error)
    {
        error = json::error::object_too_large;
        return false;
    }
    bool append(json::string_view part)
    {
        if (depth_ == 1)
            text_.append(part.data(), part.size());
        return true;
    }
    bool put(Value value, Error &error)
    {
        if (depth_ == 0)
            return stop(error);
        if (depth_ == 1)
            values_.back().second = std::move(value);
        return true;
    }
    bool open(bool object, Error &error)
    {
        if (depth_ == 0 && !object)
            return stop(error);
        if (depth_ == 1)
            values_.back().second = Other();
        ++depth_;
        return true;
    }
    bool close(Error &)
    {
        --depth_;
        return true;
    }

    std::vector<std::pair<std::string, Value>> values_;
    std::string text_;
    int depth_ = 0;
};

FlatObject parsedObject(std::string_view text)
{
    boost::system::error_code error;
    json::basic_parser<FlatObject> parser{json::parse_options()};
    const std::size_t read = parser.write_some(false, text.data(), text.size(), error);
    if (error || read != text.size())
        invalid("The request could not be understood.");
    return std::move(parser.handler());
}

std::optional<std::string> optionalText(const FlatObject &object, std::string_view key)
{
    const FlatObject::Value *value = object.present(key);
    if (!value)
        return std::nullopt;
    const auto *text = std::get_if<std::string>(value);
    if (!text)
        invalid("The request is wrong: \"" + std::string(key) + "\" has to be a text.");
    return *text;
}

std::string requiredText(const FlatObject &object, std::string_view key)
{
    std::optional<std::string> text = optionalText(object, key);
    if (!text)
        invalid("The request is incomplete: \"" + std::string(key) + "\" is missing.");
    return std::move(*text);
}

std::optional<Seconds> optionalSeconds(const FlatObject &object, std::string_view key)
{
    const FlatObject::Value *value = object.present(key);
    if (!value)
        return std::nullopt;
    const auto *number = std::get_if<std::int64_t>(value);
    if (!number)
        invalid("The request is wrong: \"" + std::string(key) + "\" has to be a whole number.");
    return *number;
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

// What is large is a picture's Base64, in which nothing is escaped; of the rest the length is
// looked up, so that the string never grows. A body goes as soon as it is written, so that there
// are no two of it but one at a time.
void putBeams(std::string &out, std::vector<Beam> &beams)
{
    constexpr std::size_t large = 64 << 10;
    std::size_t total = 64;
    for (const Beam &beam : beams)
        total += beam.body.size() > large ? beam.body.size() + 1'024 : length(beam);
    out.reserve(total);
    putKey(out, "beams");
    out += '[';
    for (Beam &beam : beams) {
        if (&beam != &beams.front())
            out += ',';
        putBeam(out, beam);
        std::string().swap(beam.body);
    }
    out += ']';
}

} // namespace

CreateRequest createRequest(std::string_view text)
{
    const FlatObject object = parsedObject(text);
    return {requiredText(object, "device_id"), optionalText(object, "owner_email").value_or("")};
}

JoinRequest joinRequest(std::string_view text)
{
    const FlatObject object = parsedObject(text);
    return {requiredText(object, "code"), requiredText(object, "handle"),
            requiredText(object, "device_id"),
            optionalText(object, "emoji").value_or("\xF0\x9F\x92\x9C")}; // a purple heart
}

BeamRequest beamRequest(std::string_view text)
{
    const FlatObject object = parsedObject(text);
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

std::string poll(Poll poll)
{
    std::string out = "{";
    putBeams(out, poll.beams);
    putField(out, "server_time", poll.serverTime);
    return out += '}';
}

std::string history(std::vector<Beam> beams)
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

std::string versionInfo(std::string_view version, std::string_view url)
{
    std::string out = "{";
    putField(out, "version", version);
    putField(out, "url", url);
    return out += '}';
}

std::string tooOld(std::string_view sentence, std::string_view url)
{
    std::string out = "{";
    putField(out, "error", sentence);
    if (!url.empty())
        putField(out, "url", url);
    return out += '}';
}

Offer offer(std::string_view versionInfo)
{
    const FlatObject object = parsedObject(versionInfo);
    return {requiredText(object, "version"), requiredText(object, "url")};
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
