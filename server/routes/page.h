// A page with places in it that are filled in when it is asked for.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kivolo::server {

/// What stands for each `{{KEY}}` of a block, as it is to stand in the page.
using Row = std::map<std::string_view, std::string>;

/// The page with every `<!--each NAME-->…<!--end-->` in it replaced by what stands between them,
/// once for each row of that name. Blocks do not lie in each other; one without an end goes on to
/// the end of the page.
std::string filledIn(std::string_view page,
                     const std::map<std::string_view, std::vector<Row>> &rows);

} // namespace kivolo::server
