// The landing site, and the packages that can be downloaded there.
#pragma once

#include "http/message.h"
#include "packages.h"
#include "page.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>

namespace kivolo::server {

/// Serves the regular files below one directory, below `/downloads/` those of another, and nothing
/// else: no way up, no symbolic link, no name that begins with a dot. What its first page says of
/// packages is filled in from those that lie in the second one, and where nobody has put a
/// version.json there, that offers the newest of them. Belongs to one thread.
class Site
{
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    /// Serves nothing.
    Site() = default;
    /// Throws std::runtime_error where the directory cannot be opened. Later others can be put in
    /// the place of both; the one with the downloads may come and go, and without a name is
    /// `downloads` in the first.
    explicit Site(std::filesystem::path directory, std::filesystem::path downloads = {},
                  Clock clock = std::chrono::steady_clock::now);

    /// What a GET or HEAD is answered with, or nothing where nothing lies there; a path that ends
    /// in '/' means the index.html there.
    std::optional<http::Response> answer(const http::Request &request);

private:
    std::optional<http::Response> firstPage(const http::Request &request);
    std::optional<http::Response> version(const http::Request &request);
    const std::vector<Package> &packages();

    std::filesystem::path root_; ///< Empty: nothing is served.
    std::filesystem::path downloads_;
    Clock clock_;
    std::vector<Package> packages_; ///< As they were when somebody looked.
    std::optional<std::chrono::steady_clock::time_point> looked_;
};

} // namespace kivolo::server
