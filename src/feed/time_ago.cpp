#include "feed/time_ago.h"

#include <QCoreApplication>
#include <limits>

namespace kivolo {

static QString translated(const char *text)
{
    return QCoreApplication::translate("timeAgo", text);
}

QString timeAgo(qint64 t, qint64 now)
{
    constexpr qint64 minute = 60;
    constexpr qint64 hour = 60 * minute;
    constexpr qint64 day = 24 * hour;
    qint64 age = 0;
    // Times on the wire are any 64-bit numbers; one too far off to subtract is old, or to come.
    if (__builtin_sub_overflow(now, t, &age))
        age = now < t ? 0 : std::numeric_limits<qint64>::max();
    if (age < minute)
        return translated(QT_TRANSLATE_NOOP("timeAgo", "now"));
    if (age < hour)
        return translated(QT_TRANSLATE_NOOP("timeAgo", "%1m ago")).arg(age / minute);
    if (age < day)
        return translated(QT_TRANSLATE_NOOP("timeAgo", "%1h ago")).arg(age / hour);
    return translated(QT_TRANSLATE_NOOP("timeAgo", "%1d ago")).arg(age / day);
}

} // namespace kivolo
