// The JSON of every request and reply but errors. Nothing else in the server knows a key.
#pragma once

#include "requests.h"

#include <string_view>

namespace kivolo::server::wire {

// Requests. Each throws a Refusal for what is not the object it should be. Keys that are not
// known are ignored; a null counts as absent.
CreateRequest createRequest(std::string_view json);
JoinRequest joinRequest(std::string_view json);
BeamRequest beamRequest(std::string_view json);

// Replies; errors are told by http::errorResponse().
std::string created(const Founding &founding);
std::string joined(const Membership &membership);
std::string status(const std::optional<Membership> &membership);
std::string accepted(const Beam &beam);
std::string poll(Poll poll);
std::string history(std::vector<Beam> beams);
std::string beam(const Beam &beam);
/// Which version programs are offered, and where it can be downloaded.
std::string versionInfo(std::string_view version, std::string_view url);
/// That the program is too old; the address only where there is one.
std::string tooOld(std::string_view sentence, std::string_view url);

struct Offer
{
    std::string version, url;
};
/// What a version.json says. Throws a Refusal where it is none.
Offer offer(std::string_view versionInfo);

/// The bytes that the beam takes in a reply, unsealed.
std::size_t length(const Beam &beam);

} // namespace kivolo::server::wire
