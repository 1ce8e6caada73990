#include "end_to_end/circle.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QLocalSocket>
#include <QNetworkReply>
#include <QRegularExpression>

namespace kivolo {

using namespace Qt::StringLiterals;

Circle::Circle()
    : server_({"--listen", "127.0.0.1:0", "--database",
               "sqlite:" + folder_.filePath(u"x.sqlite"_s).toStdString(), "--operator-listen",
               "unix:" + desk_.toStdString()})
{}

bool Circle::start()
{
    origin_ = u"http://127.0.0.1:%1"_s.arg(server_.port());
    const QString code =
        post(u"/circle/create"_s, {{u"owner_email"_s, u""_s}, {u"device_id"_s, u"mia"_s}})
            .value(u"code"_s)
            .toString();
    const QJsonObject seat = join(u"mia"_s, u"Mia"_s, code);
    circle_ = seat.value(u"circle_id"_s).toString();
    mia_ = seat.value(u"member_id"_s).toString();
    return !circle_.isEmpty() && !join(u"ana"_s, u"Ana"_s, code).isEmpty();
}

std::unique_ptr<ClientProcess> Circle::program() const
{
    return std::make_unique<ClientProcess>(u"ana"_s, folder_.path(), origin_);
}

QString Circle::numbers() const
{
    QLocalSocket desk;
    desk.connectToServer(desk_);
    desk.write("GET /metrics HTTP/1.0\r\n\r\n");
    QByteArray told;
    while (desk.waitForReadyRead())
        told += desk.readAll();
    return QString::fromUtf8(told);
}

bool Circle::startAna(const QString &bus)
{
    ana_ = program();
    if (!bus.isEmpty())
        ana_->setEnvironment(u"DBUS_SESSION_BUS_ADDRESS"_s, bus);
    ana_->start({u"--hidden"_s});
    // The second poll, held or answered, shows that the first has been taken in.
    static const QRegularExpression second(
        uR"(\nkivolo_held_polls 1|"/beams",status="200"} ([2-9]|\d\d))"_s);
    return eventually([&] { return numbers().contains(second); });
}

bool Circle::startAgain(const QStringList &arguments) const
{
    const auto again = program();
    again->start(arguments);
    return again->awaitEnd();
}

bool Circle::sendText(const QString &body, const QJsonObject &more)
{
    QJsonObject beam{{u"circle_id"_s, circle_},
                     {u"from_member"_s, mia_},
                     {u"type"_s, u"text"_s},
                     {u"body"_s, body}};
    for (auto each = more.begin(); each != more.end(); ++each)
        beam.insert(each.key(), each.value());
    return post(u"/beam"_s, beam).value(u"ok"_s).toBool();
}

bool Circle::sendCapsule(qint64 opensIn)
{
    return sendText(u"later"_s, {{u"open_at"_s, QDateTime::currentSecsSinceEpoch() + opensIn}});
}

bool Circle::stop()
{
    const bool ended = !ana_ || ana_->stop();
    return server_.end(SIGTERM) == EXIT_SUCCESS && ended;
}

QJsonObject Circle::post(const QString &path, const QJsonObject &body)
{
    QNetworkRequest request(QUrl(origin_ + path));
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    const std::unique_ptr<QNetworkReply> reply(
        network_.post(request, QJsonDocument(body).toJson()));
    const bool ended = eventually([&] { return reply->isFinished(); });
    return ended ? QJsonDocument::fromJson(reply->readAll()).object() : QJsonObject();
}

QJsonObject Circle::join(const QString &device, const QString &name, const QString &code)
{
    return post(
        u"/join"_s,
        {{u"code"_s, code}, {u"handle"_s, name}, {u"device_id"_s, device}, {u"emoji"_s, u"💜"_s}});
}

} // namespace kivolo
