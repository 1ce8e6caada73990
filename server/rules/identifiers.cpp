#include "identifiers.h"

#include <array>
#include <cerrno>
#include <limits>
#include <sys/random.h>
#include <system_error>
#include <vector>

namespace kivolo::server {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHJKLMNPQRSTUVWXYZ23456789";

// A guess hits one of the circles with the sum of 32^-length over all of them. With 16 times as
// many circles a code is one longer, so however many there are, and whatever length each was made
// with, that is less than 62 * 32^-8. All addresses together make fewer than 4.8 guesses a second
// (Throttle::allowances), so a hit takes 117 years or more on average.
constexpr std::size_t shortestCode = 8;
constexpr std::int64_t circlesOfShortestCodes = 32;

} // namespace

void systemRandomness(std::span<std::byte> bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = getrandom(bytes.data(), bytes.size(), 0);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw std::system_error(errno, std::generic_category(), "getrandom");
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

std::string newIdentifier(const Randomness &randomness)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::array<std::byte, 16> bytes;
    randomness(bytes);
    std::string identifier;
    for (const std::byte byte : bytes) {
        identifier += digits[std::to_integer<std::size_t>(byte >> 4)];
        identifier += digits[std::to_integer<std::size_t>(byte & std::byte{0x0f})];
    }
    return identifier;
}

std::size_t inviteCodeLength(std::int64_t circles)
{
    std::size_t length = shortestCode;
    for (std::int64_t most = circlesOfShortestCodes; circles > most; most *= 16)
        ++length;
    return length;
}

std::string newInviteCode(std::size_t length, const Randomness &randomness)
{
    static_assert(alphabet.size() == 32, "a power of two, so that every character is as likely");
    std::vector<std::byte> bytes(length);
    randomness(bytes);
    std::string code;
    for (const std::byte byte : bytes)
        code += alphabet[std::to_integer<std::size_t>(byte & std::byte{0x1f})];
    return code;
}

bool isInviteCode(std::string_view code)
{
    return code.size() >= shortestCode &&
           code.size() <= inviteCodeLength(std::numeric_limits<std::int64_t>::max() / 16) &&
           code.find_first_not_of(alphabet) == std::string_view::npos;
}

std::string normalizedInviteCode(std::string code)
{
    for (char &character : code) {
        if (character >= 'a' && character <= 'z')
            character = static_cast<char>(character - 'a' + 'A');
    }
    return code;
}

} // namespace kivolo::server
