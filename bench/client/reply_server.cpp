#include "bench/client/reply_server.h"

#include <QHostAddress>

ReplyServer::ReplyServer()
    : listener_(new QTcpServer)
{
    listener_->listen(QHostAddress::LocalHost);
    listener_->moveToThread(&thread_);
    QObject::connect(listener_, &QTcpServer::newConnection, listener_, [this] {
        QTcpSocket *socket = listener_->nextPendingConnection();
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { serve(socket); });
    });
    QObject::connect(&thread_, &QThread::finished, listener_, &QObject::deleteLater);
    thread_.start();
}

ReplyServer::~ReplyServer()
{
    thread_.quit();
    thread_.wait();
}

QByteArray ReplyServer::origin() const
{
    return "http://127.0.0.1:" + QByteArray::number(listener_->serverPort());
}

void ReplyServer::answerNext(const QByteArray &path, const QByteArray &body)
{
    const QMutexLocker lock(&mutex_);
    nextPath_ = path;
    nextBody_ = body;
}

Clock::time_point ReplyServer::lastByteSent() const
{
    const QMutexLocker lock(&mutex_);
    return lastByteSent_;
}

int ReplyServer::polls() const
{
    const QMutexLocker lock(&mutex_);
    return polls_;
}

void ReplyServer::serve(QTcpSocket *socket)
{
    const QByteArray target = socket->readAll().split(' ').value(1);
    const QByteArray path = target.split('?').first();
    QByteArray body = path == "/beams" ? R"({"beams":[],"server_time":1})"
                                       : R"({"joined":true,)"
                                         R"("circle_id":"c","member_id":"me"})";
    bool marked = false;
    {
        const QMutexLocker lock(&mutex_);
        polls_ += path == "/beams";
        marked = path == nextPath_;
        if (marked)
            body = std::exchange(nextBody_, {});
        if (marked)
            nextPath_.clear();
    }
    socket->write("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) +
                  "\r\n\r\n" + body);
    while (socket->bytesToWrite() > 0 && socket->waitForBytesWritten()) {
    }
    const QMutexLocker lock(&mutex_);
    if (marked)
        lastByteSent_ = Clock::now();
}
