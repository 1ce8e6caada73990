// Names that nobody can guess.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>

namespace kivolo::server {

/// Fills the bytes with random ones. From outside, so that tests own chance.
using Randomness = std::function<void(std::span<std::byte>)>;

/// The system's cryptographic source. Throws std::system_error where there is none.
void systemRandomness(std::span<std::byte> bytes);

/// 128 random bits in hexadecimal. Fits into a query as it is.
std::string newIdentifier(const Randomness &randomness);

/// Eight characters out of the 32 that are not taken for one another (no I, O, 0, 1): 40 bits.
std::string newInviteCode(const Randomness &randomness);

/// The code as the ledger spells it, whatever the letter case it was typed in.
std::string normalizedInviteCode(std::string code);

} // namespace kivolo::server
