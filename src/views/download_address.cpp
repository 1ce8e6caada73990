#include "views/download_address.h"

#include "api/origins.h"

#include <QUrl>

namespace kivolo {

QUrl downloadAddress(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    const bool isWebAddress =
        url.isValid() && !url.host().isEmpty() &&
        (url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http"));
    return isWebAddress ? url : QUrl(siteOrigin() + u'/');
}

} // namespace kivolo
