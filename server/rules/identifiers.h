// Names that nobody can guess.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace kivolo::server {

/// Fills the bytes with random ones. From outside, so that tests own chance.
using Randomness = std::function<void(std::span<std::byte>)>;

/// The system's cryptographic source. Throws std::system_error where there is none.
void systemRandomness(std::span<std::byte> bytes);

/// 128 random bits in hexadecimal. Fits into a query as it is.
std::string newIdentifier(const Randomness &randomness);

/// How many characters the code of a circle has that is made as the one of that number, from 1.
std::size_t inviteCodeLength(std::int64_t circles);

/// So many characters out of the 32 that are not taken for one another (no I, O, 0, 1): 5 bits
/// each.
std::string newInviteCode(std::size_t length, const Randomness &randomness);

/// Whether there could be a circle with this code, spelled like that.
bool isInviteCode(std::string_view code);

/// The code as the ledger spells it, whatever the letter case it was typed in.
std::string normalizedInviteCode(std::string code);

} // namespace kivolo::server
