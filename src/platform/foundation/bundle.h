// What the running program says of itself.
#pragma once

#include <QString>
#include <optional>

namespace kivolo {

namespace bundle {

/// The program's version, such as "1.4.0", or absent when the program was given none.
std::optional<QString> shortVersionString();

} // namespace bundle

} // namespace kivolo
