// Which programs are too old to be served.
#pragma once

#include "site.h"

#include <string>

namespace kivolo::server {

/// The oldest version of a program that is served, and where a newer one is. Those that are older
/// are told so, with status 426, and ask for nothing any more.
struct Minimum
{
    std::string version; ///< Digits and full stops; empty: all are served.
    std::string url;     ///< Empty: what the site's version.json says, if it does.

    /// Whether that is the version of a program that is too old. What says none is no program that
    /// would understand.
    bool keepsOut(std::string_view version) const;
    http::Response answer(Site &site, const http::Request &request) const;
};

/// Throws std::runtime_error with a sentence for the operator where the version is none, or newer
/// than all that people could get: than what the site offers or, where it offers nothing, than
/// `own`, this server's version.
void requireWithinReach(const Minimum &minimum, Site &site, std::string_view own);

} // namespace kivolo::server
