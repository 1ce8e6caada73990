#include "sqlite_ledger.h"

namespace kivolo::server {

std::unique_ptr<Ledger> openLedger(std::string_view database, Clock clock, LedgerSettings settings)
{
    constexpr std::string_view scheme = "sqlite:";
    if (!database.starts_with(scheme) || database.size() == scheme.size())
        throw std::runtime_error("the database has to be given as sqlite:PATH");
    const std::string path(database.substr(scheme.size()));
    try {
        return std::make_unique<SqliteLedger>(path, std::move(clock), std::move(settings));
    } catch (const std::exception &error) {
        throw std::runtime_error("the database " + path + " cannot be used: " + error.what());
    }
}

} // namespace kivolo::server
