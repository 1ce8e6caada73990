#include "end_to_end/client_process.h"

namespace kivolo {

using namespace Qt::StringLiterals;

static constexpr int patience = 30'000; // milliseconds

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
    return process_.waitForFinished(patience) && process_.exitStatus() == QProcess::NormalExit &&
           process_.exitCode() == EXIT_SUCCESS;
}

bool ClientProcess::stop()
{
    process_.terminate();
    return awaitEnd();
}

} // namespace kivolo
