#include "sqlite_statements.h"

namespace kivolo::server {

SqliteStatements::SqliteStatements(SqliteConnection &connection)
    : connection_(connection)
{}

std::optional<Circle> SqliteStatements::circleByCode(const std::string &code)
{
    return circleByCode_.one({code});
}

std::int64_t SqliteStatements::circlesMade()
{
    return lastOfCircles_.one({}).value_or(sqlite::LastCircle()).number;
}

std::optional<Seat> SqliteStatements::seatOfDevice(const std::string &deviceId)
{
    return seatOfDevice_.one({deviceId});
}

std::optional<Seat> SqliteStatements::seatOfKey(const std::string &key)
{
    return seatOfKey_.one({key});
}

std::vector<Member> SqliteStatements::members(std::int64_t circle)
{
    return members_.all({circle});
}

std::vector<BeamSize> SqliteStatements::sizesAfter(std::int64_t circle, Tick tick, int limit)
{
    return sizesAfter_.all({circle, tick, limit});
}

std::vector<BeamSize> SqliteStatements::latestSizes(std::int64_t circle, int limit)
{
    return latestSizes_.all({circle, limit});
}

std::vector<Beam> SqliteStatements::beams(std::int64_t circle, std::int64_t exceptSender,
                                          Tick after, Tick until)
{
    return beams_.all({circle, after, until, exceptSender});
}

std::optional<Beam> SqliteStatements::capsule(std::int64_t circle, const std::string &id)
{
    return capsule_.one({circle, id});
}

void SqliteStatements::announce(std::int64_t bytes)
{
    if (bytes > mostBytes_)
        throw TooMuchHere();
}

void SqliteStatements::measureRoom(std::int64_t free, std::int64_t fileSize)
{
    const std::int64_t used = sizeOfFile_.one({}).value_or(sqlite::FileSize()).bytes;
    room_ = {used, free - std::max<std::int64_t>(0, used - fileSize)};
}

void SqliteStatements::addCircle(const Founding &founding, const CreateRequest &founder,
                                 Seconds now)
{
    const Circle &circle = founding.circle;
    addCircle_.run({circle.code, circle.maxSeats, founder.ownerEmail, founder.deviceId,
                    founding.key, now, circle.tick});
    takeRoom(0);
}

std::optional<std::string> SqliteStatements::takeFounderKey(std::int64_t circle,
                                                            const std::string &deviceId)
{
    std::optional<sqlite::FounderKey> founder = keyOfFounder_.one({circle, deviceId});
    if (!founder)
        return std::nullopt;
    forgetFounder_.run({circle});
    return std::move(founder->key);
}

void SqliteStatements::addMember(const Seat &seat, const std::string &deviceId, Seconds now)
{
    const Member &member = seat.member;
    addMember_.run({member.id, seat.key, seat.circle.number, deviceId, member.handle, member.emoji,
                    now, member.seen});
    regroup_.run({seat.circle.number});
}

void SqliteStatements::markSeen(const Member &member, Seconds seen)
{
    markSeen_.run({seen, member.number});
    changed_.push_back(member.circle);
}

void SqliteStatements::renameMember(const Member &member)
{
    renameMember_.run({member.handle, member.emoji, member.number});
    regroup_.run({member.circle});
}

void SqliteStatements::removeMember(const Member &member)
{
    removeMember_.run({member.number});
    changed_.push_back(member.circle);
    regroup_.run({member.circle});
}

void SqliteStatements::stampCircle(const Circle &circle)
{
    stampCircle_.run({circle.tick, circle.sender, circle.othersTick, circle.bytes, circle.busyUntil,
                      circle.number});
    changed_.push_back(circle.number);
}

void SqliteStatements::addBeam(const Beam &beam, Tick tick, const Member &sender,
                               std::int64_t bytes)
{
    addBeam_.run({beam.id, sender.circle, tick, beam.createdAt, sender.number, bytes, beam.openAt,
                  beam.type, beam.effect, beam.fromMember, beam.fromHandle, beam.fromEmoji,
                  beam.body});
    takeRoom(bytes);
}

// Whatever stands in a row beside the members' own data, and in the indexes, is less than that.
void SqliteStatements::takeRoom(std::int64_t bytes)
{
    bytes += 1'024;
    room_ = {room_.used + bytes, room_.freeAfter(bytes)};
}

} // namespace kivolo::server
