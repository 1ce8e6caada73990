#include "query.h"

#include "records/refusal.h"
#include "records/text.h"

#include <charconv>

namespace kivolo::server {

namespace {

[[noreturn]] void invalid(std::string_view name, const char *what)
{
    throw Refusal(Refusal::Reason::Invalid,
                  "The request is wrong: \"" + std::string(name) + "\" " + what);
}

std::string_view queryOf(std::string_view target)
{
    const std::size_t mark = target.find('?');
    return mark == std::string_view::npos ? std::string_view() : target.substr(mark + 1);
}

std::string decoded(std::string_view name, std::string_view value)
{
    std::optional<std::string> text = percentDecoded(value);
    if (!text)
        invalid(name, "could not be read.");
    return std::move(*text);
}

} // namespace

std::string queryText(std::string_view target, std::string_view name)
{
    std::optional<std::string_view> found;
    for (std::string_view rest = queryOf(target); !rest.empty();) {
        const std::string_view parameter = rest.substr(0, rest.find('&'));
        rest.remove_prefix(std::min(rest.size(), parameter.size() + 1));
        if (parameter.substr(0, parameter.find('=')) != name)
            continue;
        if (found)
            invalid(name, "is there twice.");
        found = parameter.substr(std::min(parameter.size(), name.size() + 1));
    }
    if (!found)
        invalid(name, "is missing.");
    return decoded(name, *found);
}

std::int64_t queryNumber(std::string_view target, std::string_view name)
{
    const std::string text = queryText(target, name);
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || text.starts_with('-'))
        invalid(name, "has to be a whole number.");
    return number;
}

std::string onlyQueryText(std::string_view target, std::string_view name)
{
    const std::string_view query = queryOf(target);
    if (!query.starts_with(name) || query.substr(name.size(), 1) != "=")
        invalid(name, "is missing.");
    return decoded(name, query.substr(name.size() + 1));
}

} // namespace kivolo::server
