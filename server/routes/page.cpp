#include "page.h"

#include <algorithm>

namespace kivolo::server {

namespace {

/// The text up to the mark, and what is behind that in `rest`. Without the mark `rest` is nothing.
std::string_view upTo(std::string_view mark, std::string_view &rest)
{
    const std::string_view before = rest.substr(0, rest.find(mark));
    rest.remove_prefix(std::min(before.size() + mark.size(), rest.size()));
    return before;
}

void append(std::string &out, std::string_view block, const Row &row)
{
    while (!block.empty()) {
        out += upTo("{{", block);
        const auto value = row.find(upTo("}}", block));
        if (value != row.end())
            out += value->second;
    }
}

} // namespace

std::string filledIn(std::string_view page,
                     const std::map<std::string_view, std::vector<Row>> &rows)
{
    std::string out;
    while (!page.empty()) {
        out += upTo("<!--each ", page);
        const auto found = rows.find(upTo("-->", page));
        const std::string_view block = upTo("<!--end-->", page);
        if (found == rows.end())
            continue;
        for (const Row &row : found->second)
            append(out, block, row);
    }
    return out;
}

} // namespace kivolo::server
