#include "platform/foundation/proxies.h"

#include <QHostAddress>

namespace kivolo {

QList<QNetworkProxy> proxiesFor(const QNetworkProxyQuery &query)
{
    const QString host = query.peerHostName();
    if (host == QLatin1String("localhost") || QHostAddress(host).isLoopback())
        return {QNetworkProxy::NoProxy};
    return QNetworkProxyFactory::systemProxyForQuery(query);
}

} // namespace kivolo
