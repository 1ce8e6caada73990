// The ledger's view and its transactions, as queries on one SQLite connection.
#pragma once

#include "sqlite_queries.h"

namespace kivolo::server {

/// Creates the tables where they are missing. Throws std::runtime_error for a database that was
/// made by something else or by another version.
void prepareSchema(soci::session &session);

/// Serves as the view on a reading connection and as the transaction on the writing one.
/// Bound to its connection and used by one thread at a time.
class SqliteStatements final : public LedgerTransaction
{
public:
    explicit SqliteStatements(soci::session &session);

    std::optional<Circle> circleByCode(const std::string &code) override;
    std::optional<Seat> seatOfDevice(const std::string &deviceId) override;
    std::optional<Seat> seatOfKey(const std::string &key) override;
    std::vector<Member> members(std::int64_t circle) override;
    std::vector<BeamSize> sizesAfter(std::int64_t circle, Tick tick, int limit) override;
    std::vector<BeamSize> latestSizes(std::int64_t circle, int limit) override;
    std::vector<Beam> beams(std::int64_t circle, std::int64_t exceptSender, Tick after,
                            Tick until) override;
    std::optional<Beam> capsule(std::int64_t circle, const std::string &id) override;

    void addCircle(const Founding &founding, const CreateRequest &founder, Seconds now) override;
    std::optional<std::string> takeFounderKey(std::int64_t circle,
                                              const std::string &deviceId) override;
    void addMember(const Seat &seat, const std::string &deviceId, Seconds now) override;
    void renameMember(const Member &member) override;
    void removeMember(const Member &member) override;
    void stampCircle(const Circle &circle) override;
    void addBeam(const Beam &beam, Tick tick, const Member &sender, std::int64_t bytes) override;

private:
    sqlite::CircleByCode circleByCode_;
    sqlite::SeatOfDevice seatOfDevice_;
    sqlite::SeatOfKey seatOfKey_;
    sqlite::Members members_;
    sqlite::SizesAfter sizesAfter_;
    sqlite::LatestSizes latestSizes_;
    sqlite::Beams beams_;
    sqlite::Capsule capsule_;
    sqlite::AddCircle addCircle_;
    sqlite::FounderKey founderKey_;
    sqlite::ForgetFounder forgetFounder_;
    sqlite::AddMember addMember_;
    sqlite::RenameMember renameMember_;
    sqlite::RemoveMember removeMember_;
    sqlite::StampCircle stampCircle_;
    sqlite::AddBeam addBeam_;
};

} // namespace kivolo::server
