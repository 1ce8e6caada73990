// What members ask for, taken from the wire but not judged yet.
#pragma once

#include "records.h"

namespace kivolo::server {

struct CreateRequest
{
    std::string deviceId;
    std::string ownerEmail;
};

struct JoinRequest
{
    std::string code;
    std::string handle;
    std::string deviceId;
    std::string emoji;
};

struct BeamRequest
{
    std::string seatKey;
    std::string fromMember;
    std::string type;
    std::string body;
    std::optional<std::string> effect;
    std::optional<Seconds> openAt;
};

/// A poll's answer. `serverTime` is the server's clock as the circle sees it: the tick behind the
/// last one that this answer covers. The next poll asks for what is after the tick before it.
struct Poll
{
    std::vector<Beam> beams;
    Tick serverTime = 0;
};

} // namespace kivolo::server
