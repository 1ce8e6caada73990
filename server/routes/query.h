// The query of a request's target.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kivolo::server {

/// The value of a parameter, percent-decoded. Throws a Refusal where it is missing, there twice or
/// broken.
std::string queryText(std::string_view target, std::string_view name);

/// A parameter that is a whole number in decimal, without sign.
std::int64_t queryNumber(std::string_view target, std::string_view name);

/// The value of a query's only parameter. It reaches to the end of the query, because clients leave
/// '&', '=' and '+' in it as they are.
std::string onlyQueryText(std::string_view target, std::string_view name);

} // namespace kivolo::server
