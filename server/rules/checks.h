// What a request must hold before the rules look at it. Pure; each throws a Refusal.
#pragma once

#include "records/requests.h"

namespace kivolo::server {

void check(const CreateRequest &request);
void check(const JoinRequest &request);
/// `now` decides whether an opening time is in the future.
void check(const BeamRequest &request, Seconds now);
void checkDeviceId(const std::string &deviceId);

} // namespace kivolo::server
