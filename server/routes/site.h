// The files of the landing site.
#pragma once

#include "http/message.h"

#include <filesystem>
#include <optional>

namespace kivolo::server {

/// Serves the regular files below one directory, and nothing else: no way up, no symbolic link,
/// no name that begins with a dot.
class Site
{
public:
    /// Serves nothing.
    Site() = default;
    /// Throws std::runtime_error where the directory cannot be opened.
    explicit Site(const std::filesystem::path &directory);

    /// The file that a request's path names; a path that ends in '/' means the index.html there.
    std::optional<http::Response> file(std::string_view path) const;

private:
    http::File root_;
};

} // namespace kivolo::server
