// The programs under test, each as a process.
#pragma once

#include "support/eventually.h"

#include <QProcess>
#include <QString>
#include <QUrl>

namespace kivolo {

/// Turns the event loop until `condition` holds. False after 30 seconds, which only a failure
/// takes.
bool eventually(const std::function<bool()> &condition);

/// A server on a free port of this machine, with its ledger in `folder`.
class ServerProcess
{
public:
    /// Empty when it does not start; the reason goes to the test's output.
    QUrl start(const QString &folder);
    /// Whether it ended well.
    bool stop();

private:
    QProcess process_;
};

/// A member's program.
class ClientProcess
{
public:
    /// `folder` holds its settings and keeps other instances of the same device out of its way.
    ClientProcess(const QString &device, const QString &folder, const QString &serverOrigin);

    void setEnvironment(const QString &name, const QString &value);
    void start(const QStringList &arguments = {});
    /// Whether it ended well, by itself or because it was told to.
    bool awaitEnd();
    bool stop();

    bool isRunning() const { return process_.state() == QProcess::Running; }
    qint64 processId() const { return process_.processId(); }

private:
    QProcess process_;
};

} // namespace kivolo
