#include "core/device_identity.h"

#include "platform/foundation/environment.h"
#include "platform/foundation/user_defaults.h"

namespace kivolo {

QString deviceIdentity(UserDefaults &defaults)
{
    if (const auto overridden = environmentVariable("KIVOLO_DEVICE_ID"))
        return *overridden;
    return defaults.stringOrNew(QStringLiteral("kivolo_device_id"), &randomUuid);
}

} // namespace kivolo
