#include "site.h"

#include "records/text.h"
#include "records/wire.h"
#include "selection.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>

namespace kivolo::server {

using http::File;
using http::Request;
using http::Response;

namespace {

constexpr std::string_view html = "text/html; charset=utf-8";
constexpr std::string_view json = "application/json";
/// Where programs look that were told that they are too old, but not where a newer one is.
constexpr std::string_view usualDownload = "/Kivolo.dmg";
constexpr std::string_view whereToGetIt = "/#get";
constexpr std::string_view offered = "/downloads/";

std::string_view contentTypeOf(std::string_view name)
{
    constexpr std::pair<std::string_view, std::string_view> types[] = {
        {".json", json},
        {".html", html},
        {".css", "text/css; charset=utf-8"},
        {".txt", "text/plain; charset=utf-8"},
        {".xml", "application/xml"},
        {".svg", "image/svg+xml"},
        {".png", "image/png"},
        {".jpg", "image/jpeg"},
        {".jpeg", "image/jpeg"},
        {".webp", "image/webp"},
        {".ico", "image/vnd.microsoft.icon"},
        {".woff2", "font/woff2"},
        {".pdf", "application/pdf"},
        {".deb", "application/vnd.debian.binary-package"},
    };
    for (const auto &[suffix, type] : types) {
        if (name.ends_with(suffix))
            return type;
    }
    return "application/octet-stream";
}

/// A page never gets more than pictures, style and fonts, and those from here alone. A picture may
/// be an hour old; all else is asked for anew, which costs no more than the question where it is
/// the same.
std::string fieldsOf(std::string_view tag, std::string_view type)
{
    std::string fields = "\r\nETag: ";
    fields += tag;
    fields += type.starts_with("image/") ? "\r\nCache-Control: max-age=3600"
                                         : "\r\nCache-Control: no-cache";
    fields += "\r\nContent-Security-Policy: default-src 'none'; img-src 'self'; style-src 'self'; "
              "font-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"
              "\r\nX-Content-Type-Options: nosniff"
              "\r\nReferrer-Policy: no-referrer"
              "\r\nCross-Origin-Resource-Policy: same-origin";
    return fields;
}

/// Its status and head are said, and no body yet.
Response responseTo(const Selection &selection, std::string_view tag, std::string_view type)
{
    Response response;
    response.status = selection.status;
    response.contentType = type;
    response.fields = fieldsOf(tag, type);
    response.measured = selection.status != 304;
    return response;
}

File folder(const std::filesystem::path &path)
{
    return File(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

struct Found
{
    File file;
    std::uint64_t size = 0;
    std::string tag; ///< Another one as soon as it is another file, or this one was written to.
};

/// Steps down one directory at a time without following links, so that the kernel itself keeps the
/// way inside, whatever changes on the disk meanwhile.
std::optional<Found> find(const File &directory, std::string_view rest)
{
    File step;
    for (bool last = false; !last;) {
        const std::string name(rest.substr(0, rest.find('/')));
        last = name.size() == rest.size();
        rest.remove_prefix(last ? rest.size() : name.size() + 1);
        if (name.empty() || name.front() == '.')
            return std::nullopt;
        // Without O_NONBLOCK, opening a pipe would wait for its other end.
        const int kind = last ? O_RDONLY | O_NONBLOCK : O_PATH | O_DIRECTORY;
        const int parent = step ? step.descriptor() : directory.descriptor();
        step = File(::openat(parent, name.c_str(), kind | O_NOFOLLOW | O_CLOEXEC));
        if (!step)
            return std::nullopt;
    }
    struct stat status = {};
    if (::fstat(step.descriptor(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    char tag[96];
    std::snprintf(tag, sizeof tag, "\"%jx-%jx-%jx.%lx\"", std::uintmax_t{status.st_ino},
                  static_cast<std::uintmax_t>(status.st_size),
                  static_cast<std::uintmax_t>(status.st_mtim.tv_sec), status.st_mtim.tv_nsec);
    return Found{std::move(step), static_cast<std::uint64_t>(status.st_size), tag};
}

Response responseWith(Found found, std::string_view type, const Request &request)
{
    const Selection selection = selected(request, found.tag, found.size);
    Response response = responseTo(selection, found.tag, type);
    response.fields += "\r\nAccept-Ranges: bytes";
    const std::string whole = "/" + std::to_string(found.size);
    if (selection.status == 416) {
        Response refusal = http::errorResponse(416, "The file has no such part.");
        refusal.fields = std::move(response.fields) + "\r\nContent-Range: bytes *" + whole;
        return refusal;
    }
    if (selection.status == 206) {
        const std::uint64_t last = selection.start + selection.size - 1;
        response.fields += "\r\nContent-Range: bytes " + std::to_string(selection.start) + '-' +
                           std::to_string(last) + whole;
    }
    if (selection.status < 300)
        response.file = std::move(found.file);
    response.fileStart = selection.start;
    response.fileSize = selection.size;
    return response;
}

/// What is made when it is asked for has a tag that tells one content from another.
Response responseWith(std::string body, std::string_view type, const Request &request)
{
    std::uint64_t hash = 0xcbf29ce484222325; // FNV-1a
    for (const char c : body)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    char tag[24];
    std::snprintf(tag, sizeof tag, "\"%016jx\"", std::uintmax_t{hash});
    Request whole = {};
    whole.ifNoneMatch = request.ifNoneMatch;
    Response response = responseTo(selected(whole, tag, body.size()), tag, type);
    if (response.status == 200)
        response.body = std::move(body);
    return response;
}

std::string sizeText(std::uint64_t bytes)
{
    char text[32];
    const double megabytes = static_cast<double>(bytes) / 1e6;
    std::snprintf(text, sizeof text, megabytes < 1 ? "%.0f kB" : "%.1f MB",
                  megabytes < 1 ? megabytes * 1e3 : megabytes);
    return text;
}

/// Where the asker has reached the site, or nothing where he does not say it properly. Programs
/// speak http to their own machine alone, so elsewhere it is https, whoever it is that speaks it.
std::string originOf(const Request &request)
{
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                       "0123456789.-:[]";
    const std::string_view host = request.host;
    if (host.empty() || host.find_first_not_of(plain) != host.npos)
        return {};
    const bool isHere = host.substr(0, host.find(':')) == "localhost" || host.starts_with("127.") ||
                        host.starts_with("[::1]");
    return (isHere && !request.encrypted ? "http://" : "https://") + std::string(host);
}

} // namespace

Site::Site(std::filesystem::path directory, std::filesystem::path downloads, Clock clock)
    : root_(std::move(directory))
    , downloads_(downloads.empty() ? root_ / "downloads" : std::move(downloads))
    , clock_(std::move(clock))
{
    if (!folder(root_))
        throw std::runtime_error("the site directory " + root_.string() +
                                 " cannot be opened: " + std::generic_category().message(errno));
}

std::optional<Response> Site::answer(const Request &request)
{
    std::optional<std::string> path = percentDecoded(request.path());
    if (root_.empty() || !path || !path->starts_with('/'))
        return std::nullopt;
    if (path->ends_with('/'))
        *path += "index.html";
    if (*path == "/index.html")
        return firstPage(request);
    if (*path == "/version.json")
        return version(request);
    const bool download = path->starts_with(offered);
    std::optional<Found> found =
        download ? find(folder(downloads_), std::string_view(*path).substr(offered.size()))
                 : find(folder(root_), std::string_view(*path).substr(1));
    if (found)
        return responseWith(std::move(*found), contentTypeOf(*path), request);
    if (*path != usualDownload)
        return std::nullopt;
    Response elsewhere;
    elsewhere.status = 302;
    elsewhere.contentType = html;
    (elsewhere.fields = "\r\nCache-Control: no-store\r\nLocation: ") += whereToGetIt;
    return elsewhere;
}

std::optional<Response> Site::firstPage(const Request &request)
{
    std::optional<Found> found = find(folder(root_), "index.html");
    constexpr std::uint64_t largest = 256 << 10;
    if (!found || found->size > largest)
        return found ? std::optional(responseWith(std::move(*found), html, request)) : std::nullopt;
    std::string page(found->size, '\0');
    if (::pread(found->file.descriptor(), page.data(), page.size(), 0) !=
        static_cast<ssize_t>(page.size()))
        return std::nullopt;
    std::map<std::string_view, std::vector<Row>> rows;
    for (const Package &package : packages()) {
        const Row row{{"file", package.file},
                      {"version", package.version},
                      {"architecture", package.architecture},
                      {"size", sizeText(package.size)}};
        if (package.name == "kivolo")
            rows["client"].push_back(row);
        else if (package.name == "kivolo-server")
            rows["server"].push_back(row);
    }
    if (rows["client"].empty())
        rows["no client"].emplace_back();
    if (rows["server"].empty())
        rows["no server"].emplace_back();
    return responseWith(filledIn(page, rows), html, request);
}

// A program does not say for which architecture it is, so what is offered is what every one of them
// has come to.
std::optional<Response> Site::version(const Request &request)
{
    for (const std::filesystem::path &place : {downloads_, root_}) {
        if (std::optional<Found> found = find(folder(place), "version.json"))
            return responseWith(std::move(*found), json, request);
    }
    std::vector<Package> clients;
    std::ranges::copy_if(packages(), std::back_inserter(clients),
                         [](const Package &package) { return package.name == "kivolo"; });
    const std::string origin = originOf(request);
    if (clients.empty() || origin.empty())
        return std::nullopt;
    const auto oldest = std::ranges::min_element(
        clients, [](const auto &a, const auto &b) { return isNewer(b.version, a.version); });
    const std::string place =
        clients.size() == 1 ? std::string(offered) + oldest->file : std::string(whereToGetIt);
    return responseWith(wire::versionInfo(oldest->version, origin + place), json, request);
}

// What lies there may change at any time, and many may ask within a moment.
const std::vector<Package> &Site::packages()
{
    constexpr std::chrono::seconds current(1);
    const auto now = clock_();
    if (!looked_ || now - *looked_ >= current) {
        packages_ = newestPackages(folder(downloads_).descriptor());
        looked_ = now;
    }
    return packages_;
}

} // namespace kivolo::server
