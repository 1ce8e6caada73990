// The ledger's view and its transactions on an SQLite file.
#pragma once

#include "sqlite_queries.h"
#include "sqlite_session.h"
#include "statements.h"

namespace kivolo::server {

class SqliteStatements final : public Statements<SqliteConnection>
{
public:
    explicit SqliteStatements(SqliteConnection &connection);

    std::int64_t circlesMade() override;

    /// Measures anew what room there is, at the beginning of a transaction: of the disk `free`
    /// bytes, with a file of `fileSize`.
    void measureRoom(std::int64_t free, std::int64_t fileSize);
    void addCircle(const Founding &founding, const CreateRequest &founder, Seconds now) override;
    void addMember(const Seat &seat, const std::string &deviceId, Seconds now) override;
    void markSeen(const Member &member, Seconds seen) override;
    void removeMember(const Member &member) override;
    void stampCircle(const Circle &circle) override;
    std::int64_t removeBeams(const Removal &which) override;
    void changeCode(std::int64_t circle, const std::string &code) override;
    bool giveRoomBack() override;

    /// The circles of which something that a glance tells was changed since this was asked last,
    /// committed or not.
    std::vector<std::int64_t> takeChanged() { return std::exchange(changed_, {}); }

private:
    void regroup(std::int64_t circle) override;

    std::vector<std::int64_t> changed_;
    Select<sql::LastOfCircles> lastOfCircles_{connection_};
    Select<sql::SizeOfFile> sizeOfFile_{connection_};
    Command<sql::MarkSeen> markSeen_{connection_};
    Command<sql::Regroup> regroup_{connection_};
};

} // namespace kivolo::server
