#include "packages.h"

#include "http/message.h"

#include <algorithm>
#include <charconv>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <memory>
#include <optional>
#include <sys/stat.h>

namespace kivolo::server {

namespace {

constexpr std::string_view digits = "0123456789";

std::int64_t number(std::string_view text)
{
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? value : 0;
}

/// Takes the first component off. Doubled full stops make none.
std::int64_t nextComponent(std::string_view &version)
{
    version.remove_prefix(std::min(version.find_first_not_of('.'), version.size()));
    const std::string_view piece = version.substr(0, version.find('.'));
    version.remove_prefix(piece.size());
    return number(piece);
}

/// Nothing where that is no package's name, or one whose version says more than numbers, as that
/// of a release candidate does: programs would not see how it compares.
std::optional<Package> packageNamed(std::string_view file)
{
    constexpr std::string_view suffix = ".deb";
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                       "0123456789.+-~_";
    if (!file.ends_with(suffix) || file.starts_with('.') ||
        file.find_first_not_of(plain) != file.npos)
        return std::nullopt;
    const std::string_view stem = file.substr(0, file.size() - suffix.size());
    const std::size_t first = stem.find('_');
    const std::size_t second = first == stem.npos ? first : stem.find('_', first + 1);
    if (second == stem.npos || stem.find('_', second + 1) != stem.npos)
        return std::nullopt;
    const std::string_view full = stem.substr(first + 1, second - first - 1);
    const std::string_view version = full.substr(0, full.rfind('-'));
    Package package;
    package.file = file;
    package.name = stem.substr(0, first);
    package.version = version;
    package.revision = full.substr(std::min(version.size() + 1, full.size()));
    package.architecture = stem.substr(second + 1);
    if (package.name.empty() || package.architecture.empty() ||
        version.find_first_of(digits) == version.npos ||
        version.find_first_not_of("0123456789.") != version.npos)
        return std::nullopt;
    return package;
}

bool readExactly(int file, char *bytes, std::size_t count, std::uint64_t from)
{
    return ::pread(file, bytes, count, static_cast<off_t>(from)) == static_cast<ssize_t>(count);
}

/// Goes from head to head of the archive that a package is: one that is still being copied ends
/// within a member.
bool isWhole(int file, std::uint64_t size)
{
    constexpr std::string_view magic = "!<arch>\n";
    constexpr std::size_t headBytes = 60, lengthAt = 48, lengthBytes = 10;
    constexpr int members = 3; // the format's version, what is said of it, what is in it
    char head[headBytes];
    if (!readExactly(file, head, magic.size(), 0) || std::string_view(head, magic.size()) != magic)
        return false;
    std::uint64_t at = magic.size();
    for (int i = 0; i < members; ++i) {
        if (!readExactly(file, head, headBytes, at) ||
            !std::string_view(head, headBytes).ends_with("`\n"))
            return false;
        const std::string_view length(head + lengthAt, lengthBytes);
        const std::int64_t bytes = number(length.substr(0, length.find(' ')));
        at += headBytes + static_cast<std::uint64_t>(std::max<std::int64_t>(bytes, 0));
        at += at % 2;
    }
    return at <= size;
}

/// Whether it can be downloaded as it lies there. Fills in how large it is.
bool canBeHad(int directory, Package &package)
{
    const http::File file(
        ::openat(directory, package.file.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (!file || ::fstat(file.descriptor(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    package.size = static_cast<std::uint64_t>(status.st_size);
    return isWhole(file.descriptor(), package.size);
}

bool isBetter(const Package &a, const Package &b)
{
    if (isNewer(a.version, b.version) || isNewer(b.version, a.version))
        return isNewer(a.version, b.version);
    if (isNewer(a.revision, b.revision) || isNewer(b.revision, a.revision))
        return isNewer(a.revision, b.revision);
    return a.file > b.file;
}

} // namespace

bool isNewer(std::string_view a, std::string_view b)
{
    while (!a.empty() || !b.empty()) {
        const std::int64_t left = nextComponent(a);
        const std::int64_t right = nextComponent(b);
        if (left != right)
            return left > right;
    }
    return false;
}

std::vector<Package> newestPackages(int directory)
{
    const int descriptor = ::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR *)> entries(::fdopendir(descriptor), ::closedir);
    if (!entries) {
        http::File closing(descriptor);
        return {};
    }
    std::map<std::pair<std::string, std::string>, Package> newest;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): only of one stream in two threads
    while (const dirent *entry = ::readdir(entries.get())) {
        std::optional<Package> package = packageNamed(entry->d_name);
        if (!package)
            continue;
        const std::pair key(package->name, package->architecture);
        const auto known = newest.find(key);
        const bool wanted = known == newest.end() || isBetter(*package, known->second);
        if (wanted && canBeHad(directory, *package))
            newest.insert_or_assign(key, std::move(*package));
    }
    std::vector<Package> packages;
    for (auto &[key, package] : newest)
        packages.push_back(std::move(package));
    return packages;
}

} // namespace kivolo::server
