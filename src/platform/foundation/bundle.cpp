#include "platform/foundation/bundle.h"

#include <QCoreApplication>

namespace kivolo::bundle {

std::optional<QString> shortVersionString()
{
    const QString version = QCoreApplication::applicationVersion();
    return version.isEmpty() ? std::nullopt : std::optional(version);
}

} // namespace kivolo::bundle
