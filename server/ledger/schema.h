// The tables of a ledger, and how older ones become like them.
#pragma once

#include <soci/soci.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace kivolo::server {

/// The versions that an engine's tables have had.
struct Schema
{
    /// Statements, to be run in one transaction.
    using Steps = std::vector<std::string>;

    int first = 0; ///< The oldest that is still known.
    Steps tables;  ///< Of that version; a new database begins with them, too.
    /// The first leads from the oldest version to the next, and so on.
    std::vector<Steps> migrations = {};

    int version() const { return first + static_cast<int>(migrations.size()); }

    /// Makes tables of that version (0: none) ones of the latest. Within the caller's transaction.
    /// Throws std::runtime_error with a sentence, and SOCI's errors.
    void bringUpToDate(soci::session &session, int from) const
    {
        if (from > version())
            throw std::runtime_error("it was made by a newer version of this program");
        if (from != 0 && from < first)
            throw std::runtime_error("it was made by a version that is too old");
        if (from == 0)
            run(session, tables);
        for (int done = std::max(from, first); done < version(); ++done)
            run(session, migrations[static_cast<std::size_t>(done - first)]);
    }

private:
    static void run(soci::session &session, const Steps &steps)
    {
        for (const std::string &step : steps)
            session << step;
    }
};

} // namespace kivolo::server
