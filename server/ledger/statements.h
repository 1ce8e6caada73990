// The ledger's view and its transactions, as queries on one connection of whichever engine.
#pragma once

#include "ledger.h"
#include "queries.h"
#include "upkeep_queries.h"

#include <limits>

namespace kivolo::server {

/// What engines have in common. Serves as the view on a reading connection and as the transaction
/// on a writing one. Bound to its connection and used by one thread at a time.
template<typename Connection>
class Statements : public LedgerTransaction
{
public:
    explicit Statements(Connection &connection)
        : connection_(connection)
    {}

    std::optional<Circle> circleByCode(const std::string &code) override
    {
        return circleByCode_.one({code});
    }
    std::optional<Seat> seatOfDevice(const std::string &deviceId) override
    {
        return seatOfDevice_.one({deviceId});
    }
    std::optional<Seat> seatOfKey(const std::string &key) override { return seatOfKey_.one({key}); }
    std::vector<CircleSummary> circles(std::int64_t after, int limit) override
    {
        return circlesAfter_.all({after, limit});
    }
    std::vector<Sent> sent(std::int64_t circle) override { return sentTo_.all({circle}); }
    Seconds lastOpening(std::int64_t circle) override { return lastOpening_.one({circle})->value; }
    std::vector<Beam> beamsOf(std::int64_t circle, std::int64_t sender, Tick after,
                              Tick until) override
    {
        return beamsOf_.all({circle, after, until, sender});
    }
    std::int64_t removeBeams(const Removal &which) override
    {
        const std::int64_t count = beamsToRemove_.one(which)->value;
        if (count > 0) {
            removeBeams_.run(which);
            countBytes_.run({which.circle, which.circle});
        }
        return count;
    }
    void changeCode(std::int64_t circle, const std::string &code) override
    {
        changeCode_.run({code, circle});
        regroup(circle);
    }
    void removeCircle(std::int64_t circle) override { removeCircle_.run({circle}); }
    bool giveRoomBack() override { return false; }
    Tick latestTick() override { return latestTick_.one({})->tick; }
    std::vector<Member> members(std::int64_t circle) override { return members_.all({circle}); }
    std::vector<BeamSize> sizesAfter(std::int64_t circle, Tick tick, int limit) override
    {
        return sizesAfter_.all({circle, tick, limit});
    }
    std::vector<BeamSize> latestSizes(std::int64_t circle, int limit) override
    {
        return latestSizes_.all({circle, limit});
    }
    std::vector<Beam> beams(std::int64_t circle, std::int64_t exceptSender, Tick after,
                            Tick until) override
    {
        return beams_.all({circle, after, until, exceptSender});
    }
    std::optional<Beam> capsule(std::int64_t circle, const std::string &id) override
    {
        return capsule_.one({circle, id});
    }

    /// What is more is too much here.
    void readNoMoreThan(std::int64_t bytes) { mostBytes_ = bytes; }
    void announce(std::int64_t bytes) override
    {
        if (bytes > mostBytes_)
            throw TooMuchHere();
    }

    Room room() const override { return room_; }
    std::optional<std::string> takeFounderKey(std::int64_t circle,
                                              const std::string &deviceId) override
    {
        std::optional<sql::FounderKey> founder = keyOfFounder_.one({circle, deviceId});
        if (!founder)
            return std::nullopt;
        forgetFounder_.run({circle});
        return std::move(founder->key);
    }
    void renameMember(const Member &member) override
    {
        renameMember_.run({member.handle, member.emoji, member.circle, member.number});
        regroup(member.circle);
    }
    void removeMember(const Member &member) override
    {
        removeMember_.run({member.circle, member.number});
        regroup(member.circle);
    }
    void stampCircle(const Circle &circle) override
    {
        stampCircle_.run({circle.tick, circle.sender, circle.othersTick, circle.bytes,
                          circle.busyUntil, circle.number});
    }
    void addBeam(const Beam &beam, Tick tick, const Member &sender, std::int64_t bytes) override
    {
        addBeam_.run({beam.id, sender.circle, tick, beam.createdAt, sender.number, bytes,
                      beam.openAt, beam.type, beam.effect, beam.fromMember, beam.fromHandle,
                      beam.fromEmoji, beam.body});
        takeRoom(bytes);
    }

protected:
    template<typename Definition>
    using Select = sql::Select<Connection, Definition>;
    template<typename Definition>
    using Command = sql::Command<Connection, Definition>;

    /// To be called with every change of a circle's members.
    virtual void regroup(std::int64_t circle) = 0;

    /// Without a number it gets one of the engine's.
    void insertCircle(std::optional<std::int64_t> number, const Founding &founding,
                      const CreateRequest &founder, Seconds now)
    {
        const Circle &circle = founding.circle;
        addCircle_.run({number, circle.code, circle.maxSeats, founder.ownerEmail, founder.deviceId,
                        founding.key, now, circle.tick});
        takeRoom(0);
    }
    void insertMember(std::optional<std::int64_t> number, const Seat &seat,
                      const std::string &deviceId, Seconds now)
    {
        const Member &member = seat.member;
        addMember_.run({number, member.id, seat.key, seat.circle.number, deviceId, member.handle,
                        member.emoji, now, member.seen});
        regroup(seat.circle.number);
    }

    /// At the beginning of a transaction.
    void setRoom(const Room &room) { room_ = room; }

    Connection &connection_;

private:
    // Whatever stands in a row beside the members' own data, and in the indexes, is less than that.
    void takeRoom(std::int64_t bytes)
    {
        bytes += 1'024;
        room_ = {room_.used + bytes, room_.freeAfter(bytes)};
    }

    Room room_;
    std::int64_t mostBytes_ = std::numeric_limits<std::int64_t>::max();
    Select<sql::CircleByCode> circleByCode_{connection_};
    Select<sql::SeatOfDevice> seatOfDevice_{connection_};
    Select<sql::SeatOfKey> seatOfKey_{connection_};
    Select<sql::CirclesAfter> circlesAfter_{connection_};
    Select<sql::SentTo> sentTo_{connection_};
    Select<sql::LastOpening> lastOpening_{connection_};
    Select<sql::BeamsOf> beamsOf_{connection_};
    Select<sql::BeamsToRemove> beamsToRemove_{connection_};
    Command<sql::RemoveBeams> removeBeams_{connection_};
    Command<sql::CountBytes> countBytes_{connection_};
    Command<sql::ChangeCode> changeCode_{connection_};
    Command<sql::RemoveCircle> removeCircle_{connection_};
    Select<sql::LatestTick> latestTick_{connection_};
    Select<sql::Members> members_{connection_};
    Select<sql::SizesAfter> sizesAfter_{connection_};
    Select<sql::LatestSizes> latestSizes_{connection_};
    Select<sql::Beams> beams_{connection_};
    Select<sql::Capsule> capsule_{connection_};
    Select<sql::KeyOfFounder> keyOfFounder_{connection_};
    Command<sql::AddCircle> addCircle_{connection_};
    Command<sql::ForgetFounder> forgetFounder_{connection_};
    Command<sql::AddMember> addMember_{connection_};
    Command<sql::RenameMember> renameMember_{connection_};
    Command<sql::RemoveMember> removeMember_{connection_};
    Command<sql::StampCircle> stampCircle_{connection_};
    Command<sql::AddBeam> addBeam_{connection_};
};

} // namespace kivolo::server
