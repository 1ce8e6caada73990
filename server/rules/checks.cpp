#include "checks.h"

#include "records/refusal.h"
#include "records/text.h"

#include <algorithm>

namespace kivolo::server {

namespace {

constexpr std::size_t maxDeviceId = 256;
constexpr std::size_t maxHandle = 64;
constexpr std::size_t maxEmoji = 32; // a family with skin tones is one emoji of eleven code points
constexpr std::size_t maxEmail = 254;
constexpr std::size_t maxText = 10'000;
constexpr std::size_t maxDoodle = 2 << 20; // bytes of the whole data URL
constexpr Seconds maxCapsule = 400 * Seconds{86'400};

void require(bool held, const char *sentence)
{
    if (!held)
        throw Refusal(Refusal::Reason::Invalid, sentence);
}

bool hasNul(const std::string &text)
{
    return text.find('\0') != std::string::npos;
}

bool hasControls(const std::string &text)
{
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

void checkText(const std::string &body)
{
    require(!hasNul(body), "That text has a character in it that cannot be sent.");
    const std::optional<std::size_t> length = codePoints(body);
    require(length.has_value(), "That text could not be read.");
    if (*length > maxText)
        throw Refusal(Refusal::Reason::TooLarge,
                      "That text is too long. It can have 10,000 characters.");
}

void checkDoodle(const std::string &body)
{
    constexpr std::string_view prefix = "data:image/png;base64,";
    if (body.size() > maxDoodle)
        throw Refusal(Refusal::Reason::TooLarge, "That doodle is too large. It can have 2 MB.");
    require(body.starts_with(prefix) && isBase64Png(std::string_view(body).substr(prefix.size())),
            "That doodle is not a picture that can be sent.");
}

} // namespace

void checkDeviceId(const std::string &deviceId)
{
    require(!deviceId.empty(), "The request is incomplete: \"device_id\" is missing.");
    require(deviceId.size() <= maxDeviceId && !hasNul(deviceId) && codePoints(deviceId),
            "This device's identifier cannot be used.");
}

void check(const CreateRequest &request)
{
    checkDeviceId(request.deviceId);
    require(request.ownerEmail.size() <= maxEmail && !hasControls(request.ownerEmail) &&
                codePoints(request.ownerEmail),
            "That e-mail address cannot be used.");
}

void check(const JoinRequest &request)
{
    checkDeviceId(request.deviceId);
    constexpr const char *enterBoth = "Enter your name and a code.";
    require(request.code.find_first_not_of(" \t") != std::string::npos, enterBoth);
    const std::optional<std::size_t> handle = codePoints(request.handle);
    require(handle.has_value(), "That name could not be read.");
    require(*handle <= maxHandle, "That name is too long. It can have 64 characters.");
    require(!isBlank(request.handle), enterBoth);
    require(showsAsWritten(request.handle), "That name has a character in it that cannot be used.");
    const std::optional<std::size_t> emoji = codePoints(request.emoji);
    require(emoji && *emoji > 0 && *emoji <= maxEmoji && showsAsWritten(request.emoji),
            "That emoji cannot be used.");
}

void check(const BeamRequest &request, Seconds now)
{
    require(request.type == "text" || request.type == "doodle",
            "This kind of beam is not known here.");
    require(!request.body.empty(), "There is nothing in that beam.");
    require(!request.effect || *request.effect == "shake", "This effect is not known here.");
    if (request.type == "doodle")
        checkDoodle(request.body);
    else
        checkText(request.body);
    if (!request.openAt)
        return;
    require(request.type == "text", "Only a text can be sealed in a time capsule.");
    require(*request.openAt > now, "A time capsule has to open in the future.");
    require(*request.openAt - now <= maxCapsule,
            "A time capsule can be sealed for 400 days at most.");
}

} // namespace kivolo::server
