#include "end_to_end/counting_proxy.h"

#include <QHostAddress>

namespace kivolo {

CountingProxy::CountingProxy(quint16 serverPort)
    : serverPort_(serverPort)
{
    connect(&listener_, &QTcpServer::newConnection, this,
            [this] { connectThrough(listener_.nextPendingConnection()); });
    listener_.listen(QHostAddress::LocalHost);
}

QByteArray CountingProxy::origin() const
{
    return "http://127.0.0.1:" + QByteArray::number(listener_.serverPort());
}

void CountingProxy::connectThrough(QTcpSocket *client)
{
    auto *server = new QTcpSocket(client);
    server->connectToHost(QHostAddress::LocalHost, serverPort_);
    connect(client, &QTcpSocket::readyRead, server, [this, client, server] {
        const QByteArray bytes = client->readAll();
        fromClient_ += bytes;
        server->write(bytes); // kept by the socket until it is connected
    });
    connect(server, &QTcpSocket::readyRead, client,
            [client, server] { client->write(server->readAll()); });
    connect(server, &QTcpSocket::disconnected, client, &QTcpSocket::disconnectFromHost);
    connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
}

} // namespace kivolo
