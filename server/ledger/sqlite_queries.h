// Every query of the ledger, one type each. A query is prepared once on one connection and bound to
// its own `in` and `out`, which it reads and fills at each run; so it never moves.
#pragma once

#include "ledger.h"
#include "sqlite_session.h"

namespace kivolo::server::sqlite {

using Number = long long; // what SOCI binds

struct Query
{
    Query() = default;
    Query(const Query &) = delete;
    Query &operator=(const Query &) = delete;

protected:
    ~Query() = default;
};

// What the rows of each table are read into.

struct CircleColumns
{
    Number number = 0, maxSeats = 0, tick = 0, sender = 0, othersTick = 0, busyUntil = 0;
    std::string code;

    static constexpr const char *names =
        "c.number, c.code, c.max_seats, c.tick, c.sender, c.others_tick,"
        " c.busy_until";
    void bind(soci::details::prepare_temp_type &query);
    Circle take()
    {
        return {number, std::move(code), maxSeats, tick, sender, othersTick, busyUntil};
    }
};

struct MemberColumns
{
    Number number = 0, circle = 0;
    std::string id, handle, emoji;

    static constexpr const char *names = "m.number, m.circle, m.id, m.handle, m.emoji";
    void bind(soci::details::prepare_temp_type &query);
    Member take() { return {number, circle, std::move(id), std::move(handle), std::move(emoji)}; }
};

struct SeatColumns
{
    CircleColumns circle;
    MemberColumns member;
    std::string key;

    void bind(soci::details::prepare_temp_type &query);
    Seat take() { return {circle.take(), member.take(), std::move(key)}; }
};

struct BeamColumns
{
    Beam beam;
    std::string effect;
    Number createdAt = 0, openAt = 0;
    soci::indicator effectState = soci::i_ok, openAtState = soci::i_ok;

    static constexpr const char *names = "b.id, b.from_member, b.type, b.body, b.created_at,"
                                         " b.from_handle, b.from_emoji, b.effect, b.open_at";
    void bind(soci::details::prepare_temp_type &query);
    Beam take();
};

struct SizeColumns
{
    Number tick = 0, sender = 0, bytes = 0;

    static constexpr const char *names = "tick, sender, bytes";
    void bind(soci::details::prepare_temp_type &query);
    BeamSize take() const { return {tick, sender, bytes}; }
};

// What is read.

struct CircleByCode : Query
{
    explicit CircleByCode(soci::session &session);
    struct
    {
        std::string code;
    } in;
    CircleColumns out;
    soci::statement statement;
};

struct SeatOfDevice : Query
{
    explicit SeatOfDevice(soci::session &session);
    struct
    {
        std::string device;
    } in;
    SeatColumns out;
    soci::statement statement;
};

struct SeatOfKey : Query
{
    explicit SeatOfKey(soci::session &session);
    struct
    {
        std::string key;
    } in;
    SeatColumns out;
    soci::statement statement;
};

struct Members : Query
{
    explicit Members(soci::session &session);
    struct
    {
        Number circle = 0;
    } in;
    MemberColumns out;
    soci::statement statement;
};

struct SizesAfter : Query
{
    explicit SizesAfter(soci::session &session);
    struct
    {
        Number circle = 0, tick = 0;
        int limit = 0;
    } in;
    SizeColumns out;
    soci::statement statement;
};

struct LatestSizes : Query
{
    explicit LatestSizes(soci::session &session);
    struct
    {
        Number circle = 0;
        int limit = 0;
    } in;
    SizeColumns out;
    soci::statement statement;
};

struct Beams : Query
{
    explicit Beams(soci::session &session);
    struct
    {
        Number circle = 0, exceptSender = 0, after = 0, until = 0;
    } in;
    BeamColumns out;
    soci::statement statement;
};

struct Capsule : Query
{
    explicit Capsule(soci::session &session);
    struct
    {
        Number circle = 0;
        std::string id;
    } in;
    BeamColumns out;
    soci::statement statement;
};

// What is changed.

struct AddCircle : Query
{
    explicit AddCircle(soci::session &session);
    struct
    {
        std::string code, ownerEmail, founder, founderKey;
        Number maxSeats = 0, now = 0, tick = 0;
    } in;
    soci::statement statement;
};

struct FounderKey : Query
{
    explicit FounderKey(soci::session &session);
    struct
    {
        Number circle = 0;
        std::string device;
    } in;
    struct
    {
        std::string key;
        std::string take() { return std::move(key); }
    } out;
    soci::statement statement;
};

struct ForgetFounder : Query
{
    explicit ForgetFounder(soci::session &session);
    struct
    {
        Number circle = 0;
    } in;
    soci::statement statement;
};

struct StampCircle : Query
{
    explicit StampCircle(soci::session &session);
    struct
    {
        Number circle = 0, tick = 0, sender = 0, othersTick = 0, busyUntil = 0;
    } in;
    soci::statement statement;
};

struct AddMember : Query
{
    explicit AddMember(soci::session &session);
    struct
    {
        std::string id, key, device, handle, emoji;
        Number circle = 0, now = 0;
    } in;
    soci::statement statement;
};

struct RenameMember : Query
{
    explicit RenameMember(soci::session &session);
    struct
    {
        Number number = 0;
        std::string handle, emoji;
    } in;
    soci::statement statement;
};

struct RemoveMember : Query
{
    explicit RemoveMember(soci::session &session);
    struct
    {
        Number number = 0;
    } in;
    soci::statement statement;
};

struct AddBeam : Query
{
    explicit AddBeam(soci::session &session);
    struct
    {
        Beam beam;
        std::string effect;
        Number circle = 0, tick = 0, createdAt = 0, sender = 0, bytes = 0, openAt = 0;
        soci::indicator effectState = soci::i_null, openAtState = soci::i_null;
    } in;
    soci::statement statement;
};

} // namespace kivolo::server::sqlite
