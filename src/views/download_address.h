// Where a newer version can be had.
#pragma once

class QString;
class QUrl;

namespace kivolo {

/// The web address that `text` spells, or the root of the landing site if it spells none, so that a
/// link always has a destination.
QUrl downloadAddress(const QString &text);

} // namespace kivolo
