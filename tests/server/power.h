// A machine whose power can fail: what SQLite wrote and did not sync may be gone, or in pieces.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace kivolo::server::test {

/// While it lives, every database file of this process is on this machine's disk: one lives at a
/// time. Files of earlier machines are taken over as they are.
class Machine
{
public:
    /// The power fails with the operation of that number, counted over all writes, truncations,
    /// deletions and syncs. `syncs` false: a disk that says it has written and has not.
    Machine(std::uint64_t seed, std::uint64_t operations, bool syncs = true);
    Machine(const Machine &) = delete;
    Machine &operator=(const Machine &) = delete;
    ~Machine();

    bool failed() const;
    /// Puts what the disk has kept into that folder, which is made.
    void salvage(const std::filesystem::path &folder) const;

private:
    struct Disk;
    std::unique_ptr<Disk> disk_;
};

/// "ok", or what is wrong with it.
std::string integrityOf(const std::filesystem::path &database);

} // namespace kivolo::server::test
