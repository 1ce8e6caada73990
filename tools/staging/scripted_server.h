// An HTTP server that answers as a test tells it to, broken answers included.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>

namespace kivolo {

/// Listens on a free loopback port and runs on the thread of the test. Answers for a path
/// are given in order, the last one again and again; a path that never had any gets 404.
class ScriptedServer : public QObject
{
public:
    struct Request
    {
        QByteArray method;
        QByteArray target; ///< Path and query as they stood on the request line.
        QHash<QByteArray, QByteArray> headers; ///< Names in lower case.
        QByteArray body;
    };

    ScriptedServer();

    /// The origin, such as "http://127.0.0.1:49152".
    QByteArray origin() const;
    /// Points KIVOLO_API_URL and KIVOLO_SITE_URL here.
    void serveThisProcess() const;

    /// Queues an answer for requests whose path (without query) is `path`.
    void answer(const QByteArray &path, const QByteArray &body, int status = 200,
                const QByteArray &extraHeaders = {});
    /// Queues bytes to send as they are; the connection is closed after them.
    void answerRaw(const QByteArray &path, const QByteArray &bytes);
    /// Queues an answer that is never given.
    void answerNever(const QByteArray &path);
    /// Holds back answers for `path` from now on, until release().
    void hold(const QByteArray &path);
    void release(const QByteArray &path);
    /// Answers only the latest of the requests held for `path`.
    void releaseNewest(const QByteArray &path);
    void releaseAll();

    const QList<Request> &requests() const { return requests_; }
    /// The requests for `path`, without its query.
    QList<Request> requestsTo(const QByteArray &path) const;

private:
    struct Answer
    {
        QByteArray bytes;
        bool never = false;
        bool closes = false;
        bool given = false;
    };
    void read(QTcpSocket *socket);
    void respond(QTcpSocket *socket, const QByteArray &path);
    void give(QTcpSocket *socket, const Answer &answer);

    QHash<QTcpSocket *, QByteArray> buffers_;
    QHash<QByteArray, QList<Answer>> answers_;
    QHash<QByteArray, QList<QPointer<QTcpSocket>>> held_;
    QList<Request> requests_;
    QTcpServer server_; // last: its sockets still reach the rest when they go
};

} // namespace kivolo
