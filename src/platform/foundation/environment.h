// The process environment and fresh identifiers.
#pragma once

#include <QString>
#include <optional>

namespace kivolo {

/// The environment variable's value, read afresh; absent when it is unset or empty.
std::optional<QString> environmentVariable(const char *name);

/// A random (version 4) UUID: 36 characters, upper-case hexadecimal in groups of 8-4-4-4-12.
QString randomUuid();

} // namespace kivolo
