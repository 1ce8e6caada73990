#include "identifiers.h"

#include <array>
#include <cerrno>
#include <string_view>
#include <sys/random.h>
#include <system_error>

namespace kivolo::server {

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

std::string newInviteCode(const Randomness &randomness)
{
    constexpr std::string_view alphabet = "ABCDEFGHJKLMNPQRSTUVWXYZ23456789";
    static_assert(alphabet.size() == 32, "a power of two, so that every character is as likely");
    std::array<std::byte, 8> bytes;
    randomness(bytes);
    std::string code;
    for (const std::byte byte : bytes)
        code += alphabet[std::to_integer<std::size_t>(byte & std::byte{0x1f})];
    return code;
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
