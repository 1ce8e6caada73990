#include "feed/time_ago.h"

#include "platform/foundation/time.h"

#include <QCoreApplication>

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
    const qint64 age = timeSince(t, now);
    if (age < minute)
        return translated(QT_TRANSLATE_NOOP("timeAgo", "now"));
    if (age < hour)
        return translated(QT_TRANSLATE_NOOP("timeAgo", "%1m ago")).arg(age / minute);
    if (age < day)
        return translated(QT_TRANSLATE_NOOP("timeAgo", "%1h ago")).arg(age / hour);
    return translated(QT_TRANSLATE_NOOP("timeAgo", "%1d ago")).arg(age / day);
}

} // namespace kivolo
