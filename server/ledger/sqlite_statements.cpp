#include "sqlite_statements.h"

namespace kivolo::server {

SqliteStatements::SqliteStatements(SqliteConnection &connection)
    : Statements(connection)
{}

std::int64_t SqliteStatements::circlesMade()
{
    return lastOfCircles_.one({}).value_or(sql::LastCircle()).number;
}

void SqliteStatements::measureRoom(std::int64_t free, std::int64_t fileSize)
{
    const std::int64_t used = sizeOfFile_.one({}).value_or(sql::FileSize()).bytes;
    setRoom({used, free - std::max<std::int64_t>(0, used - fileSize)});
}

// The file numbers its rows.
void SqliteStatements::addCircle(const Founding &founding, const CreateRequest &founder,
                                 Seconds now)
{
    insertCircle(std::nullopt, founding, founder, now);
}

void SqliteStatements::addMember(const Seat &seat, const std::string &deviceId, Seconds now)
{
    insertMember(std::nullopt, seat, deviceId, now);
}

void SqliteStatements::markSeen(const Member &member, Seconds seen)
{
    markSeen_.run({seen, member.circle, member.number});
    changed_.push_back(member.circle);
}

void SqliteStatements::removeMember(const Member &member)
{
    Statements::removeMember(member);
    changed_.push_back(member.circle);
}

void SqliteStatements::stampCircle(const Circle &circle)
{
    Statements::stampCircle(circle);
    changed_.push_back(circle.number);
}

std::int64_t SqliteStatements::removeBeams(const Removal &which)
{
    changed_.push_back(which.circle);
    return Statements::removeBeams(which);
}

void SqliteStatements::changeCode(std::int64_t circle, const std::string &code)
{
    Statements::changeCode(circle, code);
    changed_.push_back(circle);
}

// What is moved to fill a gap is written twice, like everything.
bool SqliteStatements::giveRoomBack()
{
    constexpr int pages = 250;
    return connection_.shrink(pages);
}

void SqliteStatements::regroup(std::int64_t circle)
{
    regroup_.run({circle});
}

} // namespace kivolo::server
