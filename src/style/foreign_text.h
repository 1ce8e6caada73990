// Making text safe to show that comes from someone else's machine.
#pragma once

#include <QString>

namespace kivolo {

/// A sender's name as one line can hold it: line breaks become spaces, and what no line can show
/// anyway is cut off.
QString singleLine(const QString &name);

/// `text` such that characters with a direction of their own, overrides included, turn nothing
/// around that stands beside it. Without such characters it stays as it is.
QString isolated(const QString &text);

/// `text`, at most `maxLength` UTF-16 code units of it, cut between two characters as a reader
/// counts them.
QString cutAtCharacter(const QString &text, qsizetype maxLength);

} // namespace kivolo
