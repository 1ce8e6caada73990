// Two members, of whom one is a program and the other a plain HTTP client.
#pragma once

#include "end_to_end/client_process.h"
#include "servers/server_process.h"
#include "support/eventually.h"

#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <memory>

namespace kivolo {

/// Ana's program and Mia, who sends to her, on a server of their own.
class Circle
{
public:
    Circle();
    /// The server with its two members. Whether it could be done.
    bool start();
    /// Ana's program without its window, on the session bus at `bus` if one is given. Whether what
    /// is sent from now on is news to it.
    bool startAna(const QString &bus = {});
    /// Starts her program once more, as an icon's click does, and waits for its end. Whether that
    /// was a good one.
    bool startAgain(const QStringList &arguments = {}) const;
    ClientProcess &ana() { return *ana_; }
    /// A note of Mia's, or what `more` makes of it, and a capsule of hers that opens in so many
    /// seconds. Whether the server has accepted it.
    bool sendText(const QString &body, const QJsonObject &more = {});
    bool sendCapsule(qint64 opensIn);
    /// Whether everything ended well.
    bool stop();

private:
    std::unique_ptr<ClientProcess> program() const;
    QString numbers() const;
    QJsonObject post(const QString &path, const QJsonObject &body);
    QJsonObject join(const QString &device, const QString &name, const QString &code);

    QTemporaryDir folder_;
    QNetworkAccessManager network_;
    QString desk_ = folder_.filePath(QStringLiteral("desk")); ///< Where the server tells numbers.
    ServerProcess server_;
    QString origin_;
    std::unique_ptr<ClientProcess> ana_;
    QString circle_;
    QString mia_;
};

} // namespace kivolo
