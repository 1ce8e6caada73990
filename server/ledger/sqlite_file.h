// The file that a ledger is kept in, and whether it can still be relied on.
#pragma once

#include "records/refusal.h"

// Brings its own sqlite3.h inside a namespace; including that header before it breaks the build.
#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace kivolo::server {

/// What all connections to a file share. Once the file is known to be damaged, or while it is not
/// where it was opened, nothing is read from it or written to it through any of them: what would be
/// written is lost, and what would be read may be wrong. May be used from any thread.
class SqliteFile
{
public:
    explicit SqliteFile(std::string path);
    const std::string &path() const { return path_; }

    /// The files that are there now are from here on the ones that have to stay: the database, its
    /// log and the log's index.
    void keep();

    /// Looks whether they are still there. Costs three calls of the system.
    void look();

    bool usable() const { return state_ == State::Usable; }
    /// Throws LedgerUnavailable where the file was found to be damaged or gone.
    void requireUsable() const;

    /// Runs something that asks the database. Turns SOCI's failures into ours, and keeps in mind
    /// what they say about the file. Only the message is kept: what() also quotes bound values, and
    /// those are secrets.
    template<typename Action>
    auto guarded(Action &&action) -> decltype(action())
    {
        requireUsable();
        try {
            return action();
        } catch (const soci::sqlite3_soci_error &error) {
            if (saysDamaged(error.result()))
                condemn(sqlite_api::sqlite3_errstr(error.result()));
            throw LedgerUnavailable(error.get_error_message());
        } catch (const soci::soci_error &error) {
            throw LedgerUnavailable(error.get_error_message());
        }
    }

    /// From now on the file is known to be damaged. Throws LedgerUnavailable with a sentence for
    /// the operator.
    [[noreturn]] void condemn(const std::string &why);

    /// Whether SQLite's result means that the file is not what it should be.
    static bool saysDamaged(int result);

private:
    enum class State { Usable, Gone, Damaged };
    /// What tells one file from another, whatever its name.
    using Identity = std::optional<std::pair<std::uint64_t, std::uint64_t>>;
    using Identities = std::array<Identity, 3>;

    Identities identities() const;

    std::string path_;
    Identities kept_;
    std::atomic<State> state_ = State::Usable;
};

} // namespace kivolo::server
