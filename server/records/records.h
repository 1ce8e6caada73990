// The values that the layers of the server hand to each other.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kivolo::server {

/// Whole seconds since 1970 (UTC), as on the wire.
using Seconds = std::int64_t;

/// The place of a beam in the order of its circle. Every beam of a circle has one of its own, taken
/// from the clock where that has moved on and one later than the last where it has not. So the
/// order of ticks is that of the commits, whatever clocks do.
using Tick = std::int64_t;

/// By how much sending lets a circle's ticks run ahead of the clock at most, and a restored
/// database once more.
constexpr Seconds ticksAhead = 3'600;

/// A closed group of devices. `number` is the ledger's own name for it and never leaves the server.
struct Circle
{
    std::int64_t number = 0;
    std::string code; ///< The invite code, in upper case.
    std::int64_t maxSeats = 0;
    Tick tick = 0;           ///< Of its latest beam; before the first, when it was created.
    std::int64_t sender = 0; ///< Of its latest beam, by `Member::number`.
    Tick othersTick = 0;     ///< Of the latest beam that someone else has sent.
    std::int64_t bytes = 0;  ///< That its beams take in replies.
    Seconds busyUntil = 0;   ///< When it will have paid for what it has sent.
    /// Another one whenever its members have changed.
    std::int64_t regrouped = 0;
};

/// Who sits in a circle. `number` grows in the order of joining and is never used twice; `id` is
/// for everyone in the circle to see and opens nothing.
struct Member
{
    std::int64_t number = 0;
    std::int64_t circle = 0; ///< `Circle::number`.
    std::string id;
    std::string handle;
    std::string emoji;
    Seconds seen = 0; ///< When somebody was last seen in the seat, to within a few hours.
};

/// One message, with its sender's name as it was at the time of sending.
struct Beam
{
    std::string id;
    std::string fromMember;
    std::string type;
    std::string body;
    Seconds createdAt = 0;
    std::string fromHandle;
    std::string fromEmoji;
    std::optional<std::string> effect;
    std::optional<Seconds> openAt;
    bool sealed = false;
};

/// A circle, one of its members, and the secret by which that one is known: whoever has it reads
/// and sends in that seat, for as long as the seat is taken.
struct Seat
{
    Circle circle;
    Member member;
    std::string key;
};

/// A new circle. Its creator has no seat yet; the first that he takes will have this key, which
/// opens nothing until then.
struct Founding
{
    Circle circle;
    std::string key;
};

/// What a device knows of its circle.
struct Membership
{
    Seat seat;
    std::vector<Member> members; ///< All of them, in the order of joining.
};

} // namespace kivolo::server
