#include "selection.h"

#include <algorithm>
#include <charconv>

namespace kivolo::server {

namespace {

constexpr std::string_view spaces = " \t";

/// Whether the list has the tag in it, be it as a weak one: a proxy that compresses weakens it.
bool names(std::string_view list, std::string_view tag)
{
    while (!list.empty()) {
        std::string_view item = list.substr(0, list.find(','));
        list.remove_prefix(std::min(item.size() + 1, list.size()));
        item.remove_prefix(std::min(item.find_first_not_of(spaces), item.size()));
        item = item.substr(0, item.find_last_not_of(spaces) + 1);
        if (item.starts_with("W/"))
            item.remove_prefix(2);
        if (item == tag || item == "*")
            return true;
    }
    return false;
}

/// Nothing where that is no number. One that is too large stays as large as can be.
std::optional<std::uint64_t> position(std::string_view text)
{
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || end != text.data() + text.size())
        return std::nullopt;
    return error == std::errc::result_out_of_range ? UINT64_MAX : value;
}

Selection part(std::string_view range, std::uint64_t size)
{
    const Selection everything{200, 0, size}, nothing{416, 0, 0};
    constexpr std::string_view unit = "bytes=";
    const std::size_t dash = range.find('-');
    if (!range.starts_with(unit) || dash == range.npos)
        return everything;
    const std::string_view from = range.substr(unit.size(), dash - unit.size());
    const std::string_view to = range.substr(dash + 1);
    const std::optional<std::uint64_t> first = position(from), last = position(to);
    if ((!first && !from.empty()) || (!last && !to.empty()) || (!first && !last))
        return everything;
    if (!first) { // so many at the end
        const std::uint64_t count = std::min(*last, size);
        return count > 0 ? Selection{206, size - count, count} : nothing;
    }
    if (last && *last < *first)
        return everything;
    if (*first >= size)
        return nothing;
    const std::uint64_t end = last ? std::min(*last, size - 1) : size - 1;
    return {206, *first, end - *first + 1};
}

} // namespace

Selection selected(const http::Request &request, std::string_view tag, std::uint64_t size)
{
    if (names(request.ifNoneMatch, tag))
        return {304, 0, 0};
    // A date is no tag, so who has only that gets all of it.
    const bool same = request.ifRange.empty() || request.ifRange == tag;
    if (request.range.empty() || request.isHead() || !same)
        return {200, 0, size};
    return part(request.range, size);
}

} // namespace kivolo::server
