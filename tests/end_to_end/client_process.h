// The program under test, as a process.
#pragma once

#include <QProcess>
#include <QString>

namespace kivolo {

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
