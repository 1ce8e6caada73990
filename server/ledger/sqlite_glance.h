// What a poll that finds nothing looks at: memory, where it can.
#pragma once

#include "ledger.h"
#include "queries.h"
#include "sqlite_commits.h"

#include <array>
#include <boost/unordered/unordered_flat_map.hpp>

namespace kivolo::server {

/// Remembers the seats that it was asked for, as they are in the latest commit, whichever process
/// made that: those of which its own process changes something are read afresh, and all are after a
/// commit of another one. One thread.
class SqliteGlance final : public LedgerGlance
{
public:
    /// Takes up to `bytes` of memory, and a megabyte.
    SqliteGlance(SqliteConnection &connection, const SqliteCommits &commits, SqliteNews &news,
                 std::size_t bytes);

    std::optional<Seat> seat(std::string_view key, std::string_view memberId) override;

private:
    using Id = std::array<std::uint64_t, 2>;
    struct HashOfId
    {
        std::size_t operator()(const Id &id) const { return id[0] ^ id[1]; }
    };
    struct Known
    {
        Id memberId;
        std::int64_t circle, member;
        Tick tick, othersTick;
        std::int64_t sender;
        Seconds seen;
        std::uint64_t stamp; ///< Of the circle, when this was read; out of date where it differs.
    };
    /// Each of them grows and is forgotten by itself, which takes no longer than a request may.
    using Part = boost::unordered_flat_map<Id, Known, HashOfId>;

    static std::optional<Id> idOf(std::string_view text);
    Part &partOf(const Id &key);
    std::uint64_t stampOf(std::int64_t circle) const;
    bool catchUp();
    void forget(std::int64_t circle);
    void forgetAll();
    std::optional<Seat> remembered(const Id &key, const Id &memberId);
    void remember(const Id &key, const Id &memberId, const Seat &seat);

    const SqliteFile &file_;
    const SqliteCommits &commits_;
    SqliteNews &news_;
    std::size_t mostOfPart_;
    sql::Select<SqliteConnection, sql::SeatOfKey> query_;
    SqliteCommits::Mark known_{}; ///< What is remembered is true as of this.
    std::array<Part, 256> parts_;
    /// Counts what was forgotten of a circle, and of those that share its place.
    std::array<std::uint32_t, 256 << 10> changes_{};
    std::uint64_t epoch_ = 0; ///< Counts how often all was.
};

} // namespace kivolo::server
