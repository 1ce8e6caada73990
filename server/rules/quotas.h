// How much a circle, and the server as a whole, may keep.
#pragma once

#include "ledger/ledger.h"

namespace kivolo::server {

/// Says no, and to the operator why, before a disk is full. On the ledger's writing thread.
class Quotas
{
public:
    /// In bytes.
    struct Limits
    {
        std::int64_t circle = std::int64_t{1} << 30;    ///< Of a circle's beams, as in replies.
        std::int64_t database = std::int64_t{8} << 30;  ///< Of its file.
        std::int64_t reserve = std::int64_t{512} << 20; ///< That its disk has to have left.
    };

    explicit Quotas(Limits limits);

    // Each throws a Refusal where there is no room.
    void requireRoomForCircle(const Room &room);
    /// `circle` with the beam counted, which takes `bytes`.
    void requireRoomForBeam(const Circle &circle, std::int64_t bytes, const Room &room);

private:
    void requireRoom(std::int64_t bytes, const Room &room);
    void warn(const std::string &reason);

    Limits limits_;
    std::chrono::steady_clock::time_point quietUntil_;
};

} // namespace kivolo::server
