// A wire between client and server that a test can listen to.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QTcpServer>
#include <QTcpSocket>

namespace kivolo {

/// Forwards every byte in both directions and counts the client's requests.
class CountingProxy : public QObject
{
public:
    explicit CountingProxy(quint16 serverPort);

    QByteArray origin() const;
    /// How many request lines have begun with `start`, such as "GET /beams".
    qsizetype requests(const QByteArray &start) const { return fromClient_.count(start); }

private:
    void connectThrough(QTcpSocket *client);

    const quint16 serverPort_;
    QByteArray fromClient_;
    QTcpServer listener_; // last: its sockets still reach the rest when they go
};

} // namespace kivolo
