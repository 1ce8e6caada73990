#include "api/json.h"

// The library itself: linked in here, it brings only what is used of it.
#include <boost/json/src.hpp>

namespace kivolo {

namespace json = boost::json;

// Deeper than anybody nests, and no more than the stack bears.
static constexpr std::size_t mostDepth = 512;

std::optional<json::object> jsonObject(const QByteArray &bytes)
{
    static constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
    std::string_view text(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    if (text.starts_with(byteOrderMark))
        text.remove_prefix(byteOrderMark.size());

    json::parse_options options;
    options.max_depth = mostDepth;
    boost::system::error_code error;
    json::value value =
        json::parse(text, error, json::make_shared_resource<json::monotonic_resource>(), options);
    if (error || !value.is_object())
        return std::nullopt;
    return std::move(value.get_object());
}

} // namespace kivolo
