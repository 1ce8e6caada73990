// Who this installation is towards the server.
#pragma once

#include <QString>

namespace kivolo {

class UserDefaults;

/// The device id: KIVOLO_DEVICE_ID of the environment, or the stored one, or a new one, which is
/// stored in `defaults`. Programs that start for the first time at the same moment get the same.
QString deviceIdentity(UserDefaults &defaults);

} // namespace kivolo
