// The optional update.
#include "api/kivolo_api.h"
#include "core/reply.h"
#include "core/store.h"
#include "platform/foundation/bundle.h"

#include <QStringList>
#include <algorithm>

namespace kivolo {

namespace {

/// The piece as a signed 64-bit decimal integer; 0 for anything else.
qint64 versionComponent(QStringView piece)
{
    const bool isSigned = piece.startsWith(u'+') || piece.startsWith(u'-');
    const QStringView digits = piece.mid(isSigned ? 1 : 0);
    const auto isDigit = [](QChar c) { return c >= u'0' && c <= u'9'; };
    if (digits.isEmpty() || !std::all_of(digits.begin(), digits.end(), isDigit))
        return 0;
    return piece.toLongLong(); // 0 when it does not fit
}

QList<qint64> versionComponents(const QString &version)
{
    QList<qint64> components;
    for (const QStringView piece : QStringView(version).split(u'.', Qt::SkipEmptyParts))
        components.append(versionComponent(piece));
    return components;
}

} // namespace

QCoro::Task<> Store::checkUpdate()
{
    const auto self = shared_from_this();
    const auto request = KivoloAPI::latestVersion();
    const auto latest = co_await replyOrNothing(request);
    const QString running = bundle::shortVersionString().value_or(QStringLiteral("0"));
    if (latest && isNewer(latest->version, running))
        update = *latest;
}

bool Store::isNewer(const QString &a, const QString &b)
{
    const QList<qint64> left = versionComponents(a);
    const QList<qint64> right = versionComponents(b);
    for (qsizetype i = 0; i < std::max(left.size(), right.size()); ++i) {
        if (left.value(i) != right.value(i))
            return left.value(i) > right.value(i);
    }
    return false;
}

} // namespace kivolo
