// The ledger's view and its transactions, as queries on one SQLite connection.
#pragma once

#include "sqlite_queries.h"

#include <limits>

namespace kivolo::server {

/// Serves as the view on a reading connection and as the transaction on the writing one.
/// Bound to its connection and used by one thread at a time.
class SqliteStatements final : public LedgerTransaction
{
public:
    explicit SqliteStatements(SqliteConnection &connection);

    std::optional<Circle> circleByCode(const std::string &code) override;
    std::int64_t circlesMade() override;
    std::optional<Seat> seatOfDevice(const std::string &deviceId) override;
    std::optional<Seat> seatOfKey(const std::string &key) override;
    std::vector<Member> members(std::int64_t circle) override;
    std::vector<BeamSize> sizesAfter(std::int64_t circle, Tick tick, int limit) override;
    std::vector<BeamSize> latestSizes(std::int64_t circle, int limit) override;
    std::vector<Beam> beams(std::int64_t circle, std::int64_t exceptSender, Tick after,
                            Tick until) override;
    std::optional<Beam> capsule(std::int64_t circle, const std::string &id) override;
    void announce(std::int64_t bytes) override;

    /// Thrown by announce() where that is more than what may be read here.
    struct TooMuchHere
    {};
    void readNoMoreThan(std::int64_t bytes) { mostBytes_ = bytes; }

    /// Measures anew what room there is, at the beginning of a transaction: of the disk `free`
    /// bytes, with a file of `fileSize`.
    void measureRoom(std::int64_t free, std::int64_t fileSize);
    Room room() const override { return room_; }
    void addCircle(const Founding &founding, const CreateRequest &founder, Seconds now) override;
    std::optional<std::string> takeFounderKey(std::int64_t circle,
                                              const std::string &deviceId) override;
    void addMember(const Seat &seat, const std::string &deviceId, Seconds now) override;
    void markSeen(const Member &member, Seconds seen) override;
    void renameMember(const Member &member) override;
    void removeMember(const Member &member) override;
    void stampCircle(const Circle &circle) override;
    void addBeam(const Beam &beam, Tick tick, const Member &sender, std::int64_t bytes) override;

    /// The circles of which something that a glance tells was changed since this was asked last,
    /// committed or not.
    std::vector<std::int64_t> takeChanged() { return std::exchange(changed_, {}); }

private:
    void takeRoom(std::int64_t bytes);

    SqliteConnection &connection_;
    std::vector<std::int64_t> changed_;
    Room room_;
    std::int64_t mostBytes_ = std::numeric_limits<std::int64_t>::max();
    sqlite::Select<sqlite::CircleByCode> circleByCode_{connection_};
    sqlite::Select<sqlite::LastOfCircles> lastOfCircles_{connection_};
    sqlite::Select<sqlite::SeatOfDevice> seatOfDevice_{connection_};
    sqlite::Select<sqlite::SeatOfKey> seatOfKey_{connection_};
    sqlite::Select<sqlite::Members> members_{connection_};
    sqlite::Select<sqlite::SizesAfter> sizesAfter_{connection_};
    sqlite::Select<sqlite::LatestSizes> latestSizes_{connection_};
    sqlite::Select<sqlite::Beams> beams_{connection_};
    sqlite::Select<sqlite::Capsule> capsule_{connection_};
    sqlite::Select<sqlite::KeyOfFounder> keyOfFounder_{connection_};
    sqlite::Select<sqlite::SizeOfFile> sizeOfFile_{connection_};
    sqlite::Command<sqlite::AddCircle> addCircle_{connection_};
    sqlite::Command<sqlite::ForgetFounder> forgetFounder_{connection_};
    sqlite::Command<sqlite::Regroup> regroup_{connection_};
    sqlite::Command<sqlite::AddMember> addMember_{connection_};
    sqlite::Command<sqlite::MarkSeen> markSeen_{connection_};
    sqlite::Command<sqlite::RenameMember> renameMember_{connection_};
    sqlite::Command<sqlite::RemoveMember> removeMember_{connection_};
    sqlite::Command<sqlite::StampCircle> stampCircle_{connection_};
    sqlite::Command<sqlite::AddBeam> addBeam_{connection_};
};

} // namespace kivolo::server
