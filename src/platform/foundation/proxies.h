// The way out of the user's network.
#pragma once

#include <QList>
#include <QNetworkProxy>

namespace kivolo {

/// The user's proxy settings, except that loopback is never reached through a proxy. May take a
/// while; to be called off the main thread.
QList<QNetworkProxy> proxiesFor(const QNetworkProxyQuery &query);

} // namespace kivolo
