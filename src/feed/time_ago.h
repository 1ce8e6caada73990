// How long ago something happened, in few characters.
#pragma once

#include <QString>

namespace kivolo {

/// The age at `now` of the time `t`, both in seconds since 1970: "now", "5m ago", "23h ago" or
/// "400d ago". A time in the future is "now".
QString timeAgo(qint64 t, qint64 now);

} // namespace kivolo
