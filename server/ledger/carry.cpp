#include "carry.h"

#include "query.h"

#include <boost/container_hash/hash.hpp>
#include <boost/pfr.hpp>
#include <map>

namespace kivolo::server {

namespace {

using Number = std::int64_t;
using Text = std::string;

// Rows as both engines have them: columns in the order of the fields, first the place() that they
// are read by, `atATime` of them in memory.

struct CircleRow
{
    static constexpr const char *table = "circle";
    static constexpr const char *columns =
        "number, code, max_seats, tick, sender, others_tick, bytes, busy_until, founder,"
        " founder_key, owner_email, created_at, regrouped";
    static constexpr const char *which = "number > :after";
    static constexpr int atATime = 500;
    Number number = 0;
    Text code;
    Number maxSeats = 0, tick = 0, sender = 0, othersTick = 0, bytes = 0, busyUntil = 0;
    Text founder, founderKey, ownerEmail;
    Number createdAt = 0, regrouped = 0;
    Number place() const { return number; }
};

struct MemberRow
{
    static constexpr const char *table = "member";
    static constexpr const char *columns =
        "number, circle, key, id, device_id, handle, emoji, joined_at, seen";
    static constexpr const char *which = "number > :after AND circle = :circle";
    static constexpr int atATime = 500;
    Number number = 0, circle = 0;
    Text key, id, deviceId, handle, emoji;
    Number joinedAt = 0, seen = 0;
    Number place() const { return number; }
};

struct BeamRow
{
    static constexpr const char *table = "beam";
    static constexpr const char *columns =
        "tick, circle, sender, id, created_at, bytes, open_at, type, effect, from_member,"
        " from_handle, from_emoji, body";
    static constexpr const char *which = "tick > :after AND circle = :circle";
    static constexpr int atATime = 8; // of the largest some 30 MB, twice
    Number tick = 0, circle = 0, sender = 0;
    Text id;
    Number createdAt = 0, bytes = 0;
    std::optional<Number> openAt;
    Text type;
    std::optional<Text> effect;
    Text fromMember, fromHandle, fromEmoji, body;
    Number place() const { return tick; }
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

/// Reads rows in the order of their first column.
template<typename Row>
class Source
{
public:
    explicit Source(soci::session &session)
        : statement_(session)
    {
        const Text columns = Row::columns;
        const Text key = columns.substr(0, columns.find(','));
        boost::pfr::for_each_field(row_,
                                   [this](auto &field) { statement_.exchange(soci::into(field)); });
        statement_.exchange(soci::use(after_));
        if (Text(Row::which).find(":circle") != Text::npos)
            statement_.exchange(soci::use(circle_));
        statement_.exchange(soci::use(limit_));
        statement_.alloc();
        statement_.prepare("SELECT " + columns + " FROM " + Row::table + " WHERE " + Row::which +
                           " ORDER BY " + key + " LIMIT :limit");
        statement_.define_and_bind();
    }
    Source(const Source &) = delete;
    Source &operator=(const Source &) = delete;

    /// The next ones after that value of the column; `circle` does not matter for circles.
    std::vector<Row> after(Number value, Number circle, int limit = Row::atATime)
    {
        after_ = value;
        circle_ = circle;
        limit_ = limit;
        std::vector<Row> rows;
        for (bool more = statement_.execute(true); more; more = statement_.fetch())
            rows.push_back(row_);
        return rows;
    }

    template<typename Take>
    void forEach(Number circle, Take take)
    {
        Number last = -1;
        for (auto rows = after(last, circle); !rows.empty(); rows = after(last, circle)) {
            last = rows.back().place();
            for (Row &row : rows)
                take(row);
        }
    }

private:
    Row row_;
    Number after_ = 0, circle_ = 0;
    int limit_ = 0;
    soci::statement statement_;
};

template<typename Row>
class Sink
{
public:
    explicit Sink(soci::session &session)
        : statement_(session)
    {
        Text places;
        boost::pfr::for_each_field(row_, [&](const auto &field, std::size_t i) {
            places += (i == 0 ? ":f" : ", :f") + std::to_string(i);
            statement_.exchange(soci::use(field));
        });
        statement_.alloc();
        statement_.prepare("INSERT INTO " + Text(Row::table) + " (" + Row::columns + ") VALUES (" +
                           places + ")");
        statement_.define_and_bind();
    }
    Sink(const Sink &) = delete;
    Sink &operator=(const Sink &) = delete;

    void add(const Row &row)
    {
        row_ = row;
        statement_.execute(true);
    }

private:
    Row row_;
    soci::statement statement_;
};

/// What is read of all rows and written of them, on one side.
struct Tables
{
    explicit Tables(soci::session &session)
        : circles(session)
        , members(session)
        , beams(session)
    {}
    Source<CircleRow> circles;
    Source<MemberRow> members;
    Source<BeamRow> beams;
};

class Carriage
{
public:
    Carriage(Side from, Side to, Tick behind, const std::function<void()> &step)
        : from_(from)
        , to_(to)
        , behind_(behind)
        , step_(step)
    {}

    Carried run()
    {
        source_.circles.forEach(0, [this](const CircleRow &circle) { carry(circle); });
        giveNumbersBehind();
        return carried_;
    }

private:
    // The numbers of PostgreSQL's members go on behind the count of what has happened to them.
    void carry(CircleRow circle)
    {
        const Number number = circle.number;
        numbers_.clear();
        const Text here = std::to_string(number);
        for (const char *most : {"max(number), 0) FROM member", "max(sender), 0) FROM beam"})
            circle.regrouped =
                std::max(circle.regrouped,
                         from_.number("SELECT coalesce(" + Text(most) + " WHERE circle = " + here));
        std::vector<MemberRow> members;
        source_.members.forEach(number, [&](MemberRow &member) {
            member.number = renumbered(member.number);
            members.push_back(std::move(member));
        });
        circle.sender = renumbered(circle.sender);
        circle.tick = std::max(circle.tick, behind_);
        Digest few, beams;
        add(circle, addCircle_, few);
        for (const MemberRow &member : members)
            add(member, addMember_, few);
        source_.beams.forEach(number, [&](BeamRow &beam) {
            beam.sender = renumbered(beam.sender);
            add(beam, addBeam_, beams);
            ++carried_.beams;
        });
        requireArrived(number, few, beams);
        ++carried_.circles;
        carried_.members += static_cast<Number>(members.size());
    }

    template<typename Row>
    void add(const Row &row, Sink<Row> &sink, Digest &digest)
    {
        step_();
        sink.add(row);
        digest.add(row);
    }

    void requireArrived(Number circle, Digest few, Digest beams)
    {
        Digest foundFew, foundBeams;
        const auto adding = [this](Digest &digest) {
            return [this, &digest](const auto &row) {
                step_();
                digest.add(row);
            };
        };
        for (const CircleRow &row : found_.circles.after(circle - 1, 0, 1))
            adding(foundFew)(row);
        found_.members.forEach(circle, adding(foundFew));
        found_.beams.forEach(circle, adding(foundBeams));
        if (!(few == foundFew) || !(beams == foundBeams))
            throw std::runtime_error("circle " + std::to_string(circle) +
                                     " did not arrive as it was");
    }

    Number renumbered(Number member)
    {
        if (member == 0 || !to_.isFile)
            return member;
        const auto [place, isNew] = numbers_.try_emplace(member, lastMember_ + 1);
        lastMember_ += isNew ? 1 : 0;
        return place->second;
    }

    /// Whoever comes from now on gets a number that nobody has had.
    void giveNumbersBehind()
    {
        const Number circles = to_.number("SELECT coalesce(max(number), 0) FROM circle");
        if (to_.isFile)
            to_.session << "INSERT OR REPLACE INTO sqlite_sequence (rowid, name, seq) VALUES"
                           " ((SELECT rowid FROM sqlite_sequence WHERE name = 'member'),"
                           " 'member', "
                        << lastMember_ << ")";
        else if (circles > 0)
            to_.number("SELECT setval('circle_number', " + std::to_string(circles) + ")");
    }

    Side from_, to_;
    Tick behind_;
    const std::function<void()> &step_;
    Tables source_{from_.session}, found_{to_.session};
    Sink<CircleRow> addCircle_{to_.session};
    Sink<MemberRow> addMember_{to_.session};
    Sink<BeamRow> addBeam_{to_.session};
    Carried carried_;
    std::map<Number, Number> numbers_; ///< Of the circle's members, those who left included.
    Number lastMember_ = 0;
};

} // namespace

std::int64_t Side::number(const std::string &sql) const
{
    std::int64_t found = 0;
    session << sql, soci::into(found);
    return found;
}

Carried carryAll(Side from, Side to, Tick behind, const std::function<void()> &step)
{
    if (to.number("SELECT count(*) FROM circle") > 0)
        throw std::runtime_error("there are circles already where all is to be carried to");
    return Carriage(from, to, behind, step).run();
}

} // namespace kivolo::server
