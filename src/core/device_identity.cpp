#include "core/device_identity.h"

#include "platform/foundation/environment.h"
#include "platform/foundation/user_defaults.h"

namespace kivolo {

QString deviceIdentity(UserDefaults &defaults)
{
    if (const auto overridden = environmentVariable("KIVOLO_DEVICE_ID"))
        return *overridden;
    const QString key = QStringLiteral("kivolo_device_id");
    if (const auto stored = defaults.string(key))
        return *stored;
    QString generated = randomUuid();
    defaults.setString(key, generated);
    return generated;
}

} // namespace kivolo
