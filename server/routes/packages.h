// Which Debian packages lie in a folder, to be downloaded.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kivolo::server {

struct Package
{
    std::string file; ///< NAME_VERSION_ARCHITECTURE.deb, of letters, digits and `.+-~` alone.
    std::string name;
    std::string version; ///< Digits and full stops, without the package's own revision.
    std::string revision;
    std::string architecture;
    std::uint64_t size = 0; ///< Bytes.
};

/// Whether version `a` is newer than `b` in the eyes of the programs that are offered it: component
/// by component, where what is no number that fits counts as 0, and so does what is missing.
bool isNewer(std::string_view a, std::string_view b);

/// The newest package of each name for each architecture that lies in the open directory and can
/// be downloaded: a regular file that can be read and is there to its end, under a name as above
/// with a version that programs can compare. In the order of names and architectures. Throws
/// nothing but std::bad_alloc: what cannot be looked at is not there.
std::vector<Package> newestPackages(int directory);

} // namespace kivolo::server
