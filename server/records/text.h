// Questions about bytes that came from someone else's machine.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kivolo::server {

/// The number of Unicode code points, or nothing where the bytes are not UTF-8 (overlong forms
/// and surrogates included).
std::optional<std::size_t> codePoints(std::string_view text);

/// Whether there is nothing but spaces in it, of whatever width, and tabs. The text is UTF-8.
bool isBlank(std::string_view text);

/// Whether nothing in the text is invisible or turns what stands beside it around, so that no two
/// names look alike for that. Joiners, variation selectors and tags pass where emoji and scripts
/// are spelled with them. The text is UTF-8.
bool showsAsWritten(std::string_view text);

/// Whether it is standard Base64 with padding, without line breaks or left-over bits, of a PNG.
/// Looks at the signature only; what is behind it is for the receiver's decoder to judge.
bool isBase64Png(std::string_view text);

/// Percent-encoding undone; '+' stays a plus. Nothing where an escape is broken, or where the
/// result is not UTF-8 or has a NUL in it.
std::optional<std::string> percentDecoded(std::string_view text);

} // namespace kivolo::server
