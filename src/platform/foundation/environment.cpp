#include "platform/foundation/environment.h"

#include <QUuid>

namespace kivolo {

std::optional<QString> environmentVariable(const char *name)
{
    const QString value = qEnvironmentVariable(name);
    return value.isEmpty() ? std::nullopt : std::optional(value);
}

QString randomUuid()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

} // namespace kivolo
