// What people send each other, made up.
#pragma once

#include "api/records.h"

namespace kivolo {

/// A note of Mia's, five minutes old where the staged clock begins.
inline Beam noteOf(const QString &body, const QString &id = {})
{
    Beam beam;
    beam.id = id;
    beam.from_member = QStringLiteral("m2");
    beam.type = Beam::text;
    beam.body = body;
    beam.created_at = 1'700'000'000 - 300;
    beam.from_handle = QStringLiteral("Mia");
    beam.from_emoji = QStringLiteral("🦊");
    return beam;
}

} // namespace kivolo
