// Every query of the ledger, prepared once on one SQLite connection.
#pragma once

#include "ledger.h"
#include "sqlite_session.h"

namespace kivolo::server {

/// Creates the tables where they are missing. Throws std::runtime_error for a database that was
/// made by something else or by a newer version.
void prepareSchema(soci::session &session);

/// Serves as the view on a reading connection and as the transaction on the writing one.
/// Bound to its connection and used by one thread at a time.
class SqliteStatements final : public LedgerTransaction
{
public:
    explicit SqliteStatements(soci::session &session);

    std::optional<Circle> circleById(const std::string &id) override;
    std::optional<Circle> circleByCode(const std::string &code) override;
    std::optional<Seat> seatOfDevice(const std::string &deviceId) override;
    std::optional<Seat> seat(const std::string &circleId, const std::string &memberId) override;
    std::vector<Member> members(std::int64_t circle) override;
    std::optional<std::vector<BeamSize>> sizesSince(const std::string &circleId,
                                                    const std::string &memberId, Seconds since,
                                                    int limit) override;
    std::vector<Beam> beamsSince(const std::string &circleId, const std::string &memberId,
                                 Seconds since, Seconds until) override;
    std::vector<BeamSize> latestSizes(std::int64_t circle, std::int64_t exceptSender,
                                      int limit) override;
    std::vector<Beam> latest(std::int64_t circle, std::int64_t exceptSender, int limit) override;
    std::optional<Beam> capsule(const std::string &circleId, const std::string &id) override;

    Load loadOfSecond(std::int64_t circle, Seconds second) override;
    void addCircle(const Circle &circle, const std::string &ownerEmail, Seconds now) override;
    void addMember(const Member &member, const std::string &deviceId, Seconds now) override;
    void renameMember(const Member &member) override;
    void removeMember(const Member &member) override;
    void addBeam(const Beam &beam, const Member &sender, std::int64_t bytes) override;

    /// The latest second that any process may have told as its horizon.
    Seconds horizon();
    void setHorizon(Seconds second);

private:
    // What the statements are bound to. SOCI reads and writes these places at each execution, so
    // they live as long as the statements and are declared before them.
    struct Parameters
    {
        std::string text1, text2;
        long long number1 = 0, number2 = 0;
        int limit = 0;
    };
    struct BeamColumns
    {
        Beam beam;
        std::string effect;
        long long createdAt = 0, openAt = 0, sender = 0, circle = 0, bytes = 0;
        soci::indicator createdAtState = soci::i_ok, bytesState = soci::i_ok;
        soci::indicator effectState = soci::i_ok, openAtState = soci::i_ok;

        Beam take();
    };
    struct CircleColumns
    {
        Circle circle;
        long long number = 0, maxSeats = 0;

        Circle take() const;
    };
    struct MemberColumns
    {
        Member member;
        long long number = 0, circle = 0;

        Member take() const;
    };
    struct Insertion
    {
        std::string deviceId, ownerEmail;
        long long now = 0;
    };

    soci::details::prepare_temp_type selectCircle(soci::session &session, const char *where);
    soci::details::prepare_temp_type selectSeat(soci::session &session, const char *where);
    soci::details::prepare_temp_type selectBeams(soci::session &session, const char *rest);
    std::optional<Circle> oneCircle(soci::statement &statement);
    std::optional<Seat> oneSeat(soci::statement &statement);
    std::vector<Beam> manyBeams(soci::statement &statement);

    Parameters in_;
    Insertion insertion_;
    BeamColumns beam_;
    CircleColumns circle_;
    MemberColumns member_;

    soci::statement circleById_, circleByCode_, seatOfDevice_, seat_, members_;
    soci::statement sizesSince_, beamsSince_, latestSizes_, latest_, beamById_, loadOfSecond_;
    soci::statement addCircle_, addMember_, renameMember_, removeMember_, addBeam_;
    soci::statement horizon_, setHorizon_;
};

} // namespace kivolo::server
