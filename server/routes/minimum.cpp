#include "minimum.h"

#include "records/refusal.h"
#include "records/wire.h"

#include <stdexcept>

namespace kivolo::server {

namespace {

constexpr std::size_t largestFile = 64 << 10;

std::string bodyOf(const http::Response &response)
{
    if (!response.file)
        return response.body;
    std::string text(std::min<std::size_t>(response.fileSize, largestFile), '\0');
    const ssize_t count = ::pread(response.file.descriptor(), text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return text;
}

/// What the site's version.json says to whoever asks at that host.
std::optional<wire::Offer> offerOf(Site &site, std::string_view host, bool encrypted)
{
    http::Request request{"GET", "/version.json", {}, {}};
    request.host = host;
    request.encrypted = encrypted;
    try {
        const std::optional<http::Response> told = site.answer(request);
        if (told && told->status == 200)
            return wire::offer(bodyOf(*told));
    } catch (const Refusal &) {
        // Not one that programs understand either.
    }
    return std::nullopt;
}

} // namespace

bool Minimum::keepsOut(std::string_view of) const
{
    return !version.empty() && !of.empty() && isNewer(version, of);
}

http::Response Minimum::answer(Site &site, const http::Request &request) const
{
    http::Response response;
    response.status = 426;
    std::optional<wire::Offer> offer;
    if (url.empty())
        offer = offerOf(site, request.host, request.encrypted);
    response.body =
        wire::tooOld("This version of Kivolo is too old for this server. Please update.",
                     offer ? offer->url : url);
    return response;
}

void requireWithinReach(const Minimum &minimum, Site &site, std::string_view own)
{
    const std::string &version = minimum.version;
    if (version.empty())
        return;
    if (version.find_first_not_of("0123456789.") != version.npos || version.front() == '.' ||
        version.back() == '.' || version.find("..") != version.npos)
        throw std::runtime_error(
            "--min-version has to be given in numbers, like 1.2.3, and not as " + version);
    const std::optional<wire::Offer> offer = offerOf(site, "localhost", false);
    const std::string newest = offer ? offer->version : std::string(own);
    if (isNewer(version, newest))
        throw std::runtime_error("--min-version " + version +
                                 " would keep everybody out: the newest that " +
                                 (offer ? "the site offers" : "is known of") + " is " + newest);
}

} // namespace kivolo::server
