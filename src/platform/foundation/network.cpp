#include "platform/foundation/network.h"

#include "platform/foundation/main_queue.h"
#include "platform/foundation/proxies.h"

#include <QFutureWatcher>
#include <QHostInfo>
#include <QNetworkProxy>
#include <QUdpSocket>
#include <QUrl>
#include <QtConcurrent>
#include <algorithm>

namespace kivolo {

using namespace std::chrono_literals;

namespace {

constexpr auto pause = 2s;

/// The host to which a request for `url` goes from here.
QString firstHost(const QUrl &url)
{
    const QNetworkProxy proxy = proxiesFor(QNetworkProxyQuery(url)).value(0);
    return proxy.hostName().isEmpty() ? url.host() : proxy.hostName();
}

bool hasRoute(const QHostAddress &address)
{
    // Connecting a socket for datagrams sends nothing: the kernel only looks for the route.
    QUdpSocket socket;
    socket.setProxy(QNetworkProxy::NoProxy);
    socket.connectToHost(address, 9);
    return socket.state() == QAbstractSocket::ConnectedState;
}

} // namespace

QFuture<bool> SystemNetwork::reaches(const QUrl &url)
{
    return QtConcurrent::run([url] {
        const auto addresses = QHostInfo::fromName(firstHost(url)).addresses();
        return std::any_of(addresses.begin(), addresses.end(), hasRoute);
    });
}

void whenReachable(Network &network, const QUrl &url, MainQueue &queue, QObject *context,
                   std::function<void()> action)
{
    auto *answer = new QFutureWatcher<bool>(context);
    QObject::connect(answer, &QFutureWatcher<bool>::finished, context, [=, &network, &queue] {
        answer->deleteLater();
        if (answer->result())
            return action();
        queue.after(pause, context,
                    [=, &network, &queue] { whenReachable(network, url, queue, context, action); });
    });
    answer->setFuture(network.reaches(url));
}

} // namespace kivolo
