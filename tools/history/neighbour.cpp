#include "neighbour.h"

#include <algorithm>
#include <boost/json/parse.hpp>

namespace kivolo::server::history {

namespace {

constexpr std::string_view file = "sqlite:";

} // namespace

bool isFile(const std::string &database)
{
    return database.starts_with(file);
}

Neighbour::Neighbour(const std::string &database)
    : isFile_(isFile(database))
    , session_(isFile_ ? "sqlite3" : "postgresql",
               isFile_ ? database.substr(file.size()) : database)
{}

void Neighbour::readRows(Record &record)
{
    if (isFile_) {
        std::string damage;
        session_ << "PRAGMA integrity_check", soci::into(damage);
        if (damage != "ok")
            record.complaints.push_back("the database is damaged: " + damage);
    }
    const std::string function = isFile_ ? "json_object" : "json_build_object";
    const std::string beams =
        "SELECT c.code, CAST(b.tick AS TEXT), CAST(" + function +
        "('id', b.id, 'from_member', b.from_member, 'from_handle', b.from_handle,"
        " 'from_emoji', b.from_emoji, 'type', b.type, 'body', b.body, 'effect', b.effect,"
        " 'created_at', b.created_at, 'open_at', b.open_at) AS TEXT)"
        " FROM beam b JOIN circle c ON c.number = b.circle ORDER BY b.circle, b.tick";
    record.rows.resize(record.codes.size());
    const soci::rowset<soci::row> found = session_.prepare << beams;
    for (const soci::row &values : found) {
        Row row{json::parse(values.get<std::string>(2)).as_object(),
                std::stoll(values.get<std::string>(1))};
        for (const char *key : {"effect", "open_at"}) {
            if (row.beam.at(key).is_null())
                row.beam.erase(key);
        }
        const auto code = std::ranges::find(record.codes, values.get<std::string>(0));
        row.circle = static_cast<std::size_t>(code - record.codes.begin());
        if (code == record.codes.end())
            record.complaints.push_back("a beam is in a circle that nobody knows");
        else
            record.rows[row.circle].push_back(std::move(row));
    }
}

} // namespace kivolo::server::history
