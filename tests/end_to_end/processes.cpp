#include "end_to_end/processes.h"

#include <cstdio>

namespace kivolo {

using namespace Qt::StringLiterals;

static constexpr int patience = 30'000; // milliseconds

static bool awaitEndOf(QProcess &process)
{
    return process.waitForFinished(patience) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == EXIT_SUCCESS;
}

QUrl ServerProcess::start(const QString &folder)
{
    process_.start(QStringLiteral(KIVOLO_SERVER_PROGRAM),
                   {u"--listen"_s, u"127.0.0.1:0"_s, u"--database"_s,
                    u"sqlite:"_s + folder + u"/circle.sqlite"_s});
    constexpr QByteArrayView greeting = "listening on ";
    QByteArray line;
    const bool started = eventually([&] {
        line += process_.readAllStandardOutput();
        return line.endsWith('\n') || process_.state() == QProcess::NotRunning;
    });
    if (!started || !line.startsWith(greeting)) {
        std::fputs(process_.readAllStandardError().constData(), stderr);
        return {};
    }
    return QUrl::fromEncoded(line.mid(greeting.size()).trimmed());
}

bool ServerProcess::stop()
{
    process_.terminate();
    return awaitEndOf(process_);
}

ClientProcess::ClientProcess(const QString &device, const QString &folder,
                             const QString &serverOrigin)
{
    process_.setProcessEnvironment(QProcessEnvironment::systemEnvironment());
    setEnvironment(u"KIVOLO_API_URL"_s, serverOrigin);
    setEnvironment(u"KIVOLO_SITE_URL"_s, serverOrigin);
    setEnvironment(u"KIVOLO_DEVICE_ID"_s, device);
    setEnvironment(u"XDG_CONFIG_HOME"_s, folder);
    setEnvironment(u"XDG_RUNTIME_DIR"_s, folder);
    process_.setProcessChannelMode(QProcess::ForwardedChannels);
}

void ClientProcess::setEnvironment(const QString &name, const QString &value)
{
    QProcessEnvironment environment = process_.processEnvironment();
    environment.insert(name, value);
    process_.setProcessEnvironment(environment);
}

void ClientProcess::start(const QStringList &arguments)
{
    process_.start(QStringLiteral(KIVOLO_PROGRAM), arguments);
    process_.waitForStarted(patience);
}

bool ClientProcess::awaitEnd()
{
    return awaitEndOf(process_);
}

bool ClientProcess::stop()
{
    process_.terminate();
    return awaitEnd();
}

} // namespace kivolo
