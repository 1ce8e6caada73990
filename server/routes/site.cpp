#include "site.h"

#include "records/text.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>

namespace kivolo::server {

namespace {

std::string_view contentTypeOf(std::string_view name)
{
    constexpr std::pair<std::string_view, std::string_view> types[] = {
        {".json", "application/json"},
        {".html", "text/html; charset=utf-8"},
        {".css", "text/css; charset=utf-8"},
        {".js", "text/javascript; charset=utf-8"},
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
    };
    for (const auto &[suffix, type] : types) {
        if (name.ends_with(suffix))
            return type;
    }
    return "application/octet-stream";
}

} // namespace

Site::Site(const std::filesystem::path &directory)
    : root_(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC))
{
    if (!root_)
        throw std::runtime_error("the site directory " + directory.string() +
                                 " cannot be opened: " + std::generic_category().message(errno));
}

// Steps down one directory at a time without following links, so that the kernel itself keeps the
// way inside, whatever changes on the disk meanwhile.
std::optional<http::Response> Site::file(std::string_view path) const
{
    std::optional<std::string> decoded = percentDecoded(path);
    if (!root_ || !decoded || !decoded->starts_with('/'))
        return std::nullopt;
    if (decoded->ends_with('/'))
        *decoded += "index.html";
    http::File step;
    std::string_view rest = std::string_view(*decoded).substr(1);
    for (bool last = false; !last;) {
        const std::string name(rest.substr(0, rest.find('/')));
        last = name.size() == rest.size();
        rest.remove_prefix(last ? rest.size() : name.size() + 1);
        if (name.empty() || name.front() == '.')
            return std::nullopt;
        // Without O_NONBLOCK, opening a pipe would wait for its other end.
        const int kind = last ? O_RDONLY | O_NONBLOCK : O_PATH | O_DIRECTORY;
        const int parent = step ? step.descriptor() : root_.descriptor();
        step = http::File(::openat(parent, name.c_str(), kind | O_NOFOLLOW | O_CLOEXEC));
        if (!step)
            return std::nullopt;
    }
    struct stat status = {};
    if (::fstat(step.descriptor(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    http::Response response;
    response.contentType = contentTypeOf(*decoded);
    response.file = std::move(step);
    response.fileSize = static_cast<std::uint64_t>(status.st_size);
    return response;
}

} // namespace kivolo::server
