#include "sqlite_glance.h"

namespace kivolo::server {

namespace {

// Of a seat, with all the room that a table may keep free.
constexpr std::size_t bytesOfSeat = 208;

constexpr std::uint64_t scatter = 0x9e37'79b9'7f4a'7c15;

} // namespace

SqliteGlance::SqliteGlance(SqliteConnection &connection, const SqliteCommits &commits,
                           SqliteNews &news, std::size_t bytes)
    : file_(connection.file())
    , commits_(commits)
    , news_(news)
    , mostOfPart_(bytes / bytesOfSeat / std::tuple_size_v<decltype(parts_)>)
    , query_(connection)
{}

std::optional<Seat> SqliteGlance::seat(std::string_view key, std::string_view memberId)
{
    const std::optional<Id> keyId = idOf(key);
    const std::optional<Id> member = idOf(memberId);
    if (!keyId || !member)
        return std::nullopt;
    file_.requireUsable();
    const bool current = commits_.isLatest(known_) || catchUp();
    if (current) {
        if (std::optional<Seat> seat = remembered(*keyId, *member))
            return seat;
    }
    std::optional<Seat> seat = query_.one({std::string(key)});
    if (!seat || seat->member.id != memberId)
        return std::nullopt;
    remember(*keyId, *member, *seat);
    return seat;
}

// What a commit has changed is either told by the writer or unknown. In the moment between the
// writer's commit and its word, nothing that is remembered can be relied on.
bool SqliteGlance::catchUp()
{
    const std::optional<SqliteCommits::Mark> latest = commits_.latest();
    const bool changing = news_.changing();
    const SqliteNews::Item item = news_.take();
    if (item.to) {
        if (item.from != known_)
            forgetAll();
        for (const std::int64_t circle : item.circles)
            forget(circle);
        known_ = *item.to;
    }
    if (commits_.isLatest(known_))
        return true;
    if (!latest || changing)
        return false;
    forgetAll();
    known_ = *latest;
    return true;
}

void SqliteGlance::forget(std::int64_t circle)
{
    ++changes_[static_cast<std::uint64_t>(circle) % changes_.size()];
}

void SqliteGlance::forgetAll()
{
    ++epoch_;
}

std::uint64_t SqliteGlance::stampOf(std::int64_t circle) const
{
    return epoch_ << 32 | changes_[static_cast<std::uint64_t>(circle) % changes_.size()];
}

std::optional<Seat> SqliteGlance::remembered(const Id &key, const Id &memberId)
{
    const Part &part = partOf(key);
    const auto found = part.find(key);
    if (found == part.end())
        return std::nullopt;
    const Known &known = found->second;
    if (known.memberId != memberId || known.stamp != stampOf(known.circle))
        return std::nullopt;
    std::optional<Seat> seat(std::in_place);
    seat->circle.number = known.circle;
    seat->circle.tick = known.tick;
    seat->circle.sender = known.sender;
    seat->circle.othersTick = known.othersTick;
    seat->member.number = known.member;
    seat->member.circle = known.circle;
    seat->member.seen = known.seen;
    return seat;
}

// True as of a commit that is at least as late as `known_`; what comes in between is told yet.
void SqliteGlance::remember(const Id &key, const Id &memberId, const Seat &seat)
{
    Part &part = partOf(key);
    if (part.size() >= mostOfPart_)
        part.clear();
    const Circle &circle = seat.circle;
    part.insert_or_assign(key, Known{memberId, circle.number, seat.member.number, circle.tick,
                                     circle.othersTick, circle.sender, seat.member.seen,
                                     stampOf(circle.number)});
}

SqliteGlance::Part &SqliteGlance::partOf(const Id &key)
{
    static_assert(std::tuple_size_v<decltype(parts_)> == 1 << 8);
    return parts_[(key[1] * scatter) >> 56];
}

// As identifiers are written, and in no other way.
std::optional<SqliteGlance::Id> SqliteGlance::idOf(std::string_view text)
{
    constexpr std::size_t digitsOfWord = 16;
    Id id{};
    if (text.size() != id.size() * digitsOfWord)
        return std::nullopt;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool digit = c >= '0' && c <= '9';
        if (!digit && (c < 'a' || c > 'f'))
            return std::nullopt;
        std::uint64_t &word = id[i / digitsOfWord];
        word = word << 4 | static_cast<std::uint64_t>(digit ? c - '0' : c - 'a' + 10);
    }
    return id;
}

} // namespace kivolo::server
