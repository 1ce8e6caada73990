// A server on a thread of its own that answers at once and knows when it did.
#pragma once

#include <QByteArray>
#include <QMutex>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <chrono>

using Clock = std::chrono::steady_clock;

/// Answers GET /beams with an empty list unless another answer has been set for its next poll, and
/// other paths with what was set for them.
class ReplyServer
{
public:
    ReplyServer();
    ~ReplyServer();

    QByteArray origin() const;
    /// The body for the next request to `path`; /beams falls back to an empty poll after it.
    void answerNext(const QByteArray &path, const QByteArray &body);
    /// When the last byte of the latest answer set by answerNext() was handed to the kernel.
    Clock::time_point lastByteSent() const;
    /// How many polls have been answered.
    int polls() const;

private:
    void serve(QTcpSocket *socket);

    QThread thread_;
    QTcpServer *listener_;
    mutable QMutex mutex_; // guards what follows, which both threads use
    QByteArray nextPath_;
    QByteArray nextBody_;
    Clock::time_point lastByteSent_;
    int polls_ = 0;
};
