#include "move.h"

#include "ledger.h"
#include "postgres_schema.h"
#include "query.h"
#include "sqlite_file.h"

#include <boost/container_hash/hash.hpp>
#include <boost/pfr.hpp>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <thread>

namespace kivolo::server {

namespace {

// Of the largest beams as much as this is in memory at a time, twice.
constexpr int beamsAtATime = 8;
constexpr int circlesAtATime = 500;
constexpr int allMembers = 1'000'000; // of at most some hundred

using Number = std::int64_t;
using Text = std::string;

// Rows as both engines have them: columns in the order of the fields.

struct CircleRow
{
    static constexpr const char *table = "circle";
    static constexpr const char *columns =
        "number, code, max_seats, tick, sender, others_tick, bytes, busy_until, founder,"
        " founder_key, owner_email, created_at, regrouped";
    Number number = 0;
    Text code;
    Number maxSeats = 0, tick = 0, sender = 0, othersTick = 0, bytes = 0, busyUntil = 0;
    Text founder, founderKey, ownerEmail;
    Number createdAt = 0, regrouped = 0;
};

struct MemberRow
{
    static constexpr const char *table = "member";
    static constexpr const char *columns =
        "number, circle, key, id, device_id, handle, emoji, joined_at, seen";
    Number number = 0, circle = 0;
    Text key, id, deviceId, handle, emoji;
    Number joinedAt = 0, seen = 0;
};

struct BeamRow
{
    static constexpr const char *table = "beam";
    static constexpr const char *columns =
        "tick, circle, sender, id, created_at, bytes, open_at, type, effect, from_member,"
        " from_handle, from_emoji, body";
    Number tick = 0, circle = 0, sender = 0;
    Text id;
    Number createdAt = 0, bytes = 0;
    std::optional<Number> openAt;
    Text type;
    std::optional<Text> effect;
    Text fromMember, fromHandle, fromEmoji, body;
};

/// Not a cryptographic one: it is to find mistakes, not forgeries.
class Digest
{
public:
    template<typename Row>
    void add(const Row &row)
    {
        boost::pfr::for_each_field(
            row, [this](const auto &field) { boost::hash_combine(value_, field); });
    }
    bool operator==(const Digest &) const = default;

private:
    std::size_t value_ = 0;
};

/// One of the two, for as long as it takes.
class End
{
public:
    explicit End(const std::string &database)
        : isFile_(database.starts_with("sqlite:"))
    {
        if (isFile_) {
            openLedger(database, std::chrono::system_clock::now); // which brings it up to date
            session_.open(soci::sqlite3, "db=\"" + database.substr(database.find(':') + 1) + "\"");
        } else {
            const PostgresAddress address(database);
            prepareSchema(address, std::chrono::seconds(5), {});
            session_.open(soci::postgresql, address.connectString());
        }
        requireAlone();
    }
    bool isFile() const { return isFile_; }
    soci::session &session() { return session_; }

    Number number(const std::string &sql)
    {
        Number found = 0;
        session_ << sql, soci::into(found);
        return found;
    }

    /// The first rows whose first column is beyond that, in its order.
    template<typename Row>
    std::vector<Row> after(Number first, Number circle, int limit)
    {
        const std::string columns = Row::columns;
        const std::string key = columns.substr(0, columns.find(','));
        Row row;
        soci::statement statement(session_);
        const std::string circleIs = circle == 0 ? "" : " AND circle = " + std::to_string(circle);
        boost::pfr::for_each_field(row,
                                   [&](auto &field) { statement.exchange(soci::into(field)); });
        statement.alloc();
        statement.prepare("SELECT " + columns + " FROM " + Row::table + " WHERE " + key + " > " +
                          std::to_string(first) + circleIs + " ORDER BY " + key + " LIMIT " +
                          std::to_string(limit));
        statement.define_and_bind();
        std::vector<Row> rows;
        for (bool more = statement.execute(true); more; more = statement.fetch())
            rows.push_back(row);
        return rows;
    }

    template<typename Row>
    void add(const Row &row)
    {
        std::string places;
        soci::statement statement(session_);
        boost::pfr::for_each_field(row, [&](const auto &field, std::size_t i) {
            places += (i == 0 ? ":f" : ", :f") + std::to_string(i);
            statement.exchange(soci::use(field));
        });
        statement.alloc();
        statement.prepare("INSERT INTO " + Text(Row::table) + " (" + Row::columns + ") VALUES (" +
                          places + ")");
        statement.define_and_bind();
        statement.execute(true);
    }

private:
    // Every process that has opened such a file has a lock on it; PostgreSQL knows who is
    // connected, for a moment longer than they are.
    void requireAlone()
    {
        if (isFile_) {
            session_ << "PRAGMA locking_mode = EXCLUSIVE";
            session_ << "BEGIN EXCLUSIVE";
            return;
        }
        const std::string others =
            "SELECT count(*) FROM pg_stat_activity WHERE datname = current_database()"
            " AND application_name = 'kivolo-server' AND pid <> pg_backend_pid()";
        for (int i = 0; number(others) > 0; ++i) {
            if (i == 20)
                throw std::runtime_error("nothing has been carried: a server uses the database");
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        session_ << "BEGIN";
    }

    bool isFile_;
    soci::session session_;
};

/// Each handed on before the next ones are read.
template<typename Take>
void forEachBeam(End &end, Number circle, Take take)
{
    for (Number tick = -1;;) {
        std::vector<BeamRow> rows = end.after<BeamRow>(tick, circle, beamsAtATime);
        if (rows.empty())
            return;
        tick = rows.back().tick;
        for (BeamRow &row : rows)
            take(std::move(row));
    }
}

class Move
{
public:
    Move(End &from, End &to)
        : from_(from)
        , to_(to)
    {}

    Moved run()
    {
        if (to_.number("SELECT count(*) FROM circle") > 0)
            throw std::runtime_error("there are circles in the database already that all is to be "
                                     "carried to");
        for (Number last = 0;;) {
            const auto circles = from_.after<CircleRow>(last, 0, circlesAtATime);
            if (circles.empty())
                break;
            last = circles.back().number;
            for (const CircleRow &circle : circles)
                carry(circle);
        }
        giveNumbersBehind();
        to_.session() << "COMMIT";
        return moved_;
    }

private:
    // A file numbers the members of all circles together, PostgreSQL those of each by itself,
    // behind the count of what has happened to them.
    void carry(CircleRow circle)
    {
        numbers_.clear();
        const std::string here = std::to_string(circle.number);
        for (const char *most : {"max(number), 0) FROM member", "max(sender), 0) FROM beam"}) {
            const Number number =
                from_.number("SELECT coalesce(" + Text(most) + " WHERE circle = " + here);
            circle.regrouped = std::max(circle.regrouped, number);
        }
        const Number number = circle.number;
        std::vector<MemberRow> members = from_.after<MemberRow>(0, number, allMembers);
        for (MemberRow &member : members)
            member.number = renumbered(member.number);
        circle.sender = renumbered(circle.sender);
        to_.add(circle);
        for (const MemberRow &member : members)
            to_.add(member);
        Digest sent;
        Number beams = 0;
        forEachBeam(from_, number, [&](BeamRow beam) {
            beam.sender = renumbered(beam.sender);
            to_.add(beam);
            sent.add(beam);
            ++beams;
        });
        compare(circle, members, sent);
        ++moved_.circles;
        moved_.members += static_cast<Number>(members.size());
        moved_.beams += beams;
    }

    void compare(const CircleRow &circle, const std::vector<MemberRow> &members, Digest beams)
    {
        Digest sent;
        sent.add(circle);
        for (const MemberRow &member : members)
            sent.add(member);
        Digest found;
        for (const CircleRow &row : to_.after<CircleRow>(circle.number - 1, 0, 1))
            found.add(row);
        for (const MemberRow &row : to_.after<MemberRow>(0, circle.number, allMembers))
            found.add(row);
        Digest foundBeams;
        forEachBeam(to_, circle.number, [&](const BeamRow &row) { foundBeams.add(row); });
        if (!(sent == found) || !(beams == foundBeams))
            throw std::runtime_error("circle " + std::to_string(circle.number) +
                                     " did not arrive as it was; nothing has been carried");
    }

    Number renumbered(Number member)
    {
        if (member == 0 || !to_.isFile())
            return member;
        const auto [place, isNew] = numbers_.try_emplace(member, lastMember_ + 1);
        lastMember_ += isNew ? 1 : 0;
        return place->second;
    }

    /// Whoever comes from now on gets a number that nobody has had.
    void giveNumbersBehind()
    {
        const Number circles = to_.number("SELECT coalesce(max(number), 0) FROM circle");
        if (to_.isFile())
            to_.session() << "INSERT OR REPLACE INTO sqlite_sequence (rowid, name, seq) VALUES"
                             " ((SELECT rowid FROM sqlite_sequence WHERE name = 'member'),"
                             " 'member', "
                          << lastMember_ << ")";
        else if (circles > 0)
            to_.number("SELECT setval('circle_number', " + std::to_string(circles) + ")");
    }

    End &from_;
    End &to_;
    Moved moved_;
    std::map<Number, Number> numbers_; ///< Of the circle's members, those who left included.
    Number lastMember_ = 0;
};

} // namespace

Moved moveDatabase(const std::string &from, const std::string &to)
{
    constexpr std::string_view file = "sqlite:";
    if (from == to)
        throw std::runtime_error("--from and --to are the same");
    if (from.starts_with(file) && !std::filesystem::exists(from.substr(file.size())))
        throw std::runtime_error("there is no database " + from.substr(file.size()));
    try {
        End source(from);
        End destination(to);
        return Move(source, destination).run();
    } catch (const soci::soci_error &error) {
        throw std::runtime_error("nothing has been carried: " + error.get_error_message());
    }
}

} // namespace kivolo::server
