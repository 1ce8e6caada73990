#include "platform/desktop/single_instance.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>

namespace kivolo {

namespace {

constexpr int answerTimeout = 2000;
constexpr int retryPause = 20;
constexpr char acknowledgement = '!';

// The runtime folder is the user's own and vanishes with the session. The device id is as good as
// a password, so only a digest of it becomes a file name.
QString pathFor(const QString &deviceId)
{
    const QByteArray digest =
        QCryptographicHash::hash(deviceId.toUtf8(), QCryptographicHash::Sha256).toHex().left(32);
    const QDir folder(QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation));
    return folder.filePath(QCoreApplication::applicationName() + u'-' + QLatin1String(digest));
}

} // namespace

SingleInstance::SingleInstance(const QString &deviceId)
    : socketPath_(pathFor(deviceId))
    , lock_(socketPath_ + QLatin1String(".lock"))
{
    // The lock belongs to a running process, however long that has been running.
    lock_.setStaleLockTime(0);
    connect(&server_, &QLocalServer::newConnection, this, &SingleInstance::answer);
}

SingleInstance::Outcome SingleInstance::claim(Ask ask)
{
    if (!lock_.tryLock(0)) {
        if (lock_.error() == QLockFile::LockFailedError)
            return ask == Ask::ToRaise ? askFirst() : Outcome::AlreadyRunning;
        return fail(tr("The lock file %1.lock cannot be written.").arg(socketPath_));
    }
    // Whoever holds the lock owns the socket's name; one that exists is a crash's leftover.
    QLocalServer::removeServer(socketPath_);
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_.listen(socketPath_)) {
        const QString reason = server_.errorString();
        lock_.unlock();
        return fail(reason);
    }
    return Outcome::First;
}

SingleInstance::Outcome SingleInstance::fail(const QString &reason)
{
    errorText_ = reason;
    return Outcome::Failed;
}

// The first program may hold the lock and not listen yet, hence the repeated attempts within one
// deadline.
SingleInstance::Outcome SingleInstance::askFirst()
{
    const QDeadlineTimer deadline(answerTimeout);
    QLocalSocket socket;
    do {
        socket.connectToServer(socketPath_);
        if (socket.waitForConnected(int(deadline.remainingTime()))) {
            if (socket.waitForReadyRead(int(deadline.remainingTime())))
                return Outcome::AlreadyRunning;
            break;
        }
        QThread::msleep(retryPause);
    } while (!deadline.hasExpired());
    return fail(
        tr("The program is already running but does not answer: %1").arg(socket.errorString()));
}

void SingleInstance::answer()
{
    while (QLocalSocket *socket = server_.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        socket->write(&acknowledgement, 1);
        Q_EMIT raiseRequested();
    }
}

} // namespace kivolo
