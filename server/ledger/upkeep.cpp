#include "upkeep.h"

#include "postgres_schema.h"
#include "postgres_upkeep.h"
#include "sole_use.h"
#include "sqlite_upkeep.h"

#include <filesystem>
#include <soci/soci.h>

namespace kivolo::server {

namespace {

/// Where a database is, of whichever engine.
struct Place
{
    explicit Place(std::string_view database)
    {
        constexpr std::string_view scheme = "sqlite:";
        if (PostgresAddress::isOne(database))
            postgres.emplace(std::string(database));
        else if (database.starts_with(scheme) && database.size() > scheme.size())
            path = database.substr(scheme.size());
        else
            throw std::runtime_error(
                "the database has to be given as sqlite:PATH or postgresql://...");
    }
    std::string name() const { return postgres ? postgres->name() : path; }

    std::optional<PostgresAddress> postgres;
    std::string path;
};

/// Does what is about the database or file of that name.
template<typename Action>
void about(const std::string &name, const char *trouble, Action action)
{
    try {
        action();
    } catch (const Draft::Taken &) {
        throw;
    } catch (const std::exception &error) {
        throw std::runtime_error("the database " + name + " " + trouble + ": " + error.what());
    }
}

} // namespace

void checkDatabase(std::string_view database)
{
    const Place place(database);
    about(place.name(), "cannot be used",
          [&] { place.postgres ? checkSchema(*place.postgres) : checkFile(place.path); });
}

void copyDatabase(std::string_view database, const Draft &to, const std::stop_token &stop)
{
    const Place place(database);
    about(place.name(), "cannot be copied", [&] {
        if (place.postgres)
            copyPostgres(*place.postgres, to, stop);
        else
            copyFile(place.path, to, stop);
        requireWhole(to.path(), stop);
    });
}

void backUpDatabase(std::string_view database, const std::string &to)
{
    if (std::filesystem::exists(to))
        throw std::runtime_error("there is a file " + to + " already");
    Draft draft(to + ".part");
    copyDatabase(database, draft);
    draft.nameIt(to);
}

std::string restoreDatabase(std::string_view database, const std::string &from, Seconds now)
{
    const Place place(database);
    about(from, "cannot be restored", [&] { requireWhole(from); });
    std::string kept;
    about(place.name(), "cannot be replaced", [&] {
        kept = place.postgres ? replacePostgres(std::string(database), from, now)
                              : replaceFile(place.path, from, now);
    });
    return kept;
}

void advanceTicks(std::string_view database, Seconds now)
{
    const Place place(database);
    about(place.name(), "cannot be changed", [&] {
        if (!place.postgres)
            requireWhole(place.path);
        const std::string tick = std::to_string(now + ticksAhead);
        const std::unique_ptr<SoleUse> use = SoleUse::of(std::string(database));
        withoutQuotes([&] {
            use->side().session << "UPDATE circle SET tick = " + tick + " WHERE tick < " + tick;
            use->commit();
        });
    });
}

} // namespace kivolo::server
