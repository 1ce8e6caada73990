#include "postgres_ledger.h"
#include "postgres_schema.h"
#include "sqlite_ledger.h"

namespace kivolo::server {

namespace {

template<typename Open>
std::unique_ptr<Ledger> naming(const std::string &database, Open open)
{
    try {
        return open();
    } catch (const std::exception &error) {
        throw std::runtime_error("the database " + database + " cannot be used: " + error.what());
    }
}

} // namespace

std::unique_ptr<Ledger> openLedger(std::string_view database, Clock clock, LedgerSettings settings)
{
    constexpr std::string_view file = "sqlite:";
    if (PostgresAddress::isOne(database)) {
        const PostgresAddress address{std::string(database)};
        return naming(address.name(), [&] {
            prepareSchema(address, settings.patience, settings.trialMigrations);
            return std::make_unique<PostgresLedger>(address, std::move(clock), std::move(settings));
        });
    }
    if (!database.starts_with(file) || database.size() == file.size())
        throw std::runtime_error("the database has to be given as sqlite:PATH or postgresql://...");
    const std::string path(database.substr(file.size()));
    return naming(path, [&] {
        return std::make_unique<SqliteLedger>(path, std::move(clock), std::move(settings));
    });
}

} // namespace kivolo::server
