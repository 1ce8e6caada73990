// Arithmetic with times.
#pragma once

#include <QtGlobal>
#include <limits>

namespace kivolo {

/// How long after `then` it is `now`, negative before it. Times on the wire are any 64-bit numbers:
/// for those too far apart to subtract, the longest time there is.
inline qint64 timeSince(qint64 then, qint64 now)
{
    qint64 time = 0;
    if (__builtin_sub_overflow(now, then, &time))
        return now < then ? std::numeric_limits<qint64>::min() : std::numeric_limits<qint64>::max();
    return time;
}

} // namespace kivolo
