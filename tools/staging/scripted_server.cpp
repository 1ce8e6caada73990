#include "staging/scripted_server.h"

#include <QHostAddress>

namespace kivolo {

namespace {

QByteArray pathOf(const QByteArray &target)
{
    return target.left(target.indexOf('?') < 0 ? target.size() : target.indexOf('?'));
}

/// Takes one whole request off the front of `buffer`, if it is there.
bool takeRequest(QByteArray &buffer, ScriptedServer::Request &request)
{
    const qsizetype headEnd = buffer.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return false;
    const QList<QByteArray> lines = buffer.left(headEnd).split('\n');
    const QList<QByteArray> start = lines.first().trimmed().split(' ');
    for (const QByteArray &line : lines.mid(1)) {
        const qsizetype colon = line.indexOf(':');
        request.headers.insert(line.left(colon).toLower(), line.mid(colon + 1).trimmed());
    }
    const qsizetype length = request.headers.value("content-length").toLongLong();
    if (buffer.size() < headEnd + 4 + length)
        return false;
    request.method = start.value(0);
    request.target = start.value(1);
    request.body = buffer.mid(headEnd + 4, length);
    buffer.remove(0, headEnd + 4 + length);
    return true;
}

} // namespace

ScriptedServer::ScriptedServer()
{
    connect(&server_, &QTcpServer::newConnection, this, [this] {
        QTcpSocket *socket = server_.nextPendingConnection();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            buffers_.remove(socket);
            socket->deleteLater();
        });
    });
    server_.listen(QHostAddress::LocalHost);
}

QByteArray ScriptedServer::origin() const
{
    return "http://127.0.0.1:" + QByteArray::number(server_.serverPort());
}

void ScriptedServer::serveThisProcess() const
{
    qputenv("KIVOLO_API_URL", origin());
    qputenv("KIVOLO_SITE_URL", origin());
}

void ScriptedServer::answer(const QByteArray &path, const QByteArray &body, int status,
                            const QByteArray &extraHeaders)
{
    answers_[path].append({"HTTP/1.1 " + QByteArray::number(status) +
                           " Scripted\r\nContent-Length: " + QByteArray::number(body.size()) +
                           "\r\n" + extraHeaders + "\r\n" + body});
}

void ScriptedServer::answerRaw(const QByteArray &path, const QByteArray &bytes)
{
    answers_[path].append({.bytes = bytes, .never = false, .closes = true, .given = false});
}

void ScriptedServer::answerNever(const QByteArray &path)
{
    answers_[path].append({.bytes = {}, .never = true, .closes = false, .given = false});
}

void ScriptedServer::hold(const QByteArray &path)
{
    held_.insert(path, {});
}

void ScriptedServer::release(const QByteArray &path)
{
    for (const QPointer<QTcpSocket> &socket : held_.take(path)) {
        if (socket)
            respond(socket, path);
    }
}

void ScriptedServer::releaseNewest(const QByteArray &path)
{
    respond(held_[path].takeLast(), path);
}

void ScriptedServer::releaseAll()
{
    const QList<QByteArray> paths = held_.keys();
    for (const QByteArray &path : paths)
        release(path);
}

QList<ScriptedServer::Request> ScriptedServer::requestsTo(const QByteArray &path) const
{
    QList<Request> matching;
    for (const Request &request : requests_) {
        if (pathOf(request.target) == path)
            matching.append(request);
    }
    return matching;
}

void ScriptedServer::read(QTcpSocket *socket)
{
    QByteArray &buffer = buffers_[socket];
    buffer += socket->readAll();
    Request request;
    while (takeRequest(buffer, request)) {
        const QByteArray path = pathOf(request.target);
        requests_.append(std::exchange(request, {}));
        if (held_.contains(path))
            held_[path].append(socket);
        else
            respond(socket, path);
    }
}

void ScriptedServer::respond(QTcpSocket *socket, const QByteArray &path)
{
    QList<Answer> &queue = answers_[path];
    if (queue.isEmpty())
        return give(socket, {"HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"});
    if (queue.first().given && queue.size() > 1)
        queue.removeFirst();
    queue.first().given = true;
    give(socket, queue.first());
}

void ScriptedServer::give(QTcpSocket *socket, const Answer &answer)
{
    if (answer.never)
        return;
    socket->write(answer.bytes);
    if (answer.closes)
        socket->disconnectFromHost();
}

} // namespace kivolo
