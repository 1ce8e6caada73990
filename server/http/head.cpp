#include "head.h"

#include <boost/beast/http/status.hpp>

namespace kivolo::server::http {

namespace beast = boost::beast;

std::string headOf(const Response &response, bool keepAlive, std::string_view date)
{
    const auto reason = beast::http::obsolete_reason(beast::http::int_to_status(response.status));
    constexpr std::size_t usual = 512; // with a small body, so that nothing has to grow
    std::string head;
    head.reserve(usual);
    head += "HTTP/1.1 ";
    head += std::to_string(response.status);
    head += ' ';
    head.append(reason.data(), reason.size());
    head += "\r\nDate: ";
    head += date;
    head += "\r\nContent-Type: ";
    head += response.contentType;
    if (response.measured) {
        head += "\r\nContent-Length: ";
        head += std::to_string(response.file ? response.fileSize : response.body.size());
    }
    if (response.fields.empty())
        head += "\r\nCache-Control: no-store";
    head += response.fields;
    if (!response.allow.empty())
        (head += "\r\nAllow: ") += response.allow;
    if (response.retryAfter.count() > 0)
        (head += "\r\nRetry-After: ") += std::to_string(response.retryAfter.count());
    // Said always, because an older client takes nothing for granted.
    head += keepAlive ? "\r\nConnection: keep-alive" : "\r\nConnection: close";
    head += "\r\n\r\n";
    return head;
}

} // namespace kivolo::server::http
