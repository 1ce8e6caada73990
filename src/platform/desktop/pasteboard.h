// What the user copies.
#pragma once

class QString;

namespace kivolo::pasteboard {

/// Replaces whatever was copied before by plain text.
void setString(const QString &text);

} // namespace kivolo::pasteboard
