#include "api/kivolo_api.h"

#include "api/json.h"
#include "api/origins.h"
#include "platform/foundation/bundle.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPromise>
#include <QThreadPool>
#include <QUrl>

namespace kivolo {

std::function<void(const QString &)> KivoloAPI::onForceUpdate;

namespace {

const QByteArray versionHeader = "X-Kivolo-Version";
constexpr std::chrono::seconds requestTimeout{60}; // without a byte of progress

/// Percent-encodes all but what a query may hold, "&", "=" and "+" included in what it may.
QString queryEncoded(const QString &text)
{
    static const QByteArray allowed = "!$&'()*+,-./:;=?@_~";
    return QString::fromLatin1(text.toUtf8().toPercentEncoding(allowed));
}

} // namespace

QString KivoloAPI::appVersion()
{
    return bundle::shortVersionString().value_or(QStringLiteral("0"));
}

QByteArray KivoloAPI::serialize(const Body &body)
{
    QJsonObject object;
    for (auto entry = body.cbegin(); entry != body.cend(); ++entry) {
        if (const auto *text = std::get_if<QString>(&entry.value())) {
            // Half a surrogate pair has no UTF-8; Qt would send a replacement in silence.
            if (!text->isValidUtf16())
                throw SerializationError(QCoreApplication::translate(
                    "KivoloAPI", "The text holds a broken character and cannot be sent."));
            object.insert(entry.key(), *text);
        } else {
            object.insert(entry.key(), std::get<qint64>(entry.value()));
        }
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

UrlRequest KivoloAPI::getRequest(const QString &path)
{
    UrlRequest request;
    request.url = requestUrl(apiOrigin() + path);
    request.headers = {{versionHeader, appVersion().toUtf8()}};
    request.timeout = requestTimeout;
    return request;
}

UrlRequest KivoloAPI::postRequest(const QString &path, const Body &body)
{
    UrlRequest request = getRequest(path);
    request.method = "POST";
    request.headers.emplaceBack("Content-Type", "application/json");
    request.body = serialize(body);
    return request;
}

ApiError KivoloAPI::apiError(const QByteArray &body)
{
    return ApiError(textIn(body, "error")
                        .value_or(QCoreApplication::translate(
                            "KivoloAPI", "Something went wrong. Please try again.")));
}

void KivoloAPI::check(const UrlReply &reply)
{
    if (!reply.status)
        return;
    if (*reply.status == 426) {
        const QString url =
            textIn(reply.body, "url").value_or(siteOrigin() + QStringLiteral("/Kivolo.dmg"));
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [callback = onForceUpdate, url] {
                if (callback)
                    callback(url);
            },
            Qt::QueuedConnection);
    }
    if (*reply.status < 200 || *reply.status > 299)
        throw apiError(reply.body);
}

namespace {

/// A reply up to this size is decoded within a millisecond, for which waking a thread of the pool
/// is not worth it: an idle client polls all day.
constexpr qsizetype smallReplyBytes = 64 * 1024;

/// Builds and sends a request on the session's thread and has the reply judged there, or on the
/// thread pool when that would keep the session from other replies. No template, as the machinery
/// of futures would be compiled for each kind of record anew.
void exchange(std::function<UrlRequest()> build,
              const std::function<void(const QFuture<UrlReply> &)> &judge)
{
    UrlSession::shared().data(std::move(build)).then([judge](const QFuture<UrlReply> &reply) {
        const bool large = reply.resultCount() > 0 && reply.result().body.size() > smallReplyBytes;
        if (large)
            QThreadPool::globalInstance()->start([judge, reply] { judge(reply); });
        else
            judge(reply);
    });
}

template<typename Record>
QFuture<Record> exchange(std::function<UrlRequest()> build, Record (*judge)(const UrlReply &))
{
    const auto promise = std::make_shared<QPromise<Record>>();
    promise->start();
    exchange(std::move(build), [promise, judge](const QFuture<UrlReply> &reply) {
        try {
            promise->addResult(judge(reply.result())); // throws what failed the request
        } catch (...) {
            promise->setException(std::current_exception());
        }
        promise->finish();
    });
    return promise->future();
}

} // namespace

template<typename Reply>
Reply KivoloAPI::judged(const UrlReply &reply)
{
    check(reply);
    return Reply::decode(reply.body);
}

template<typename Reply>
QFuture<Reply> KivoloAPI::get(const QString &path)
{
    return exchange([path] { return getRequest(path); }, &judged<Reply>);
}

template<typename Reply>
QFuture<Reply> KivoloAPI::post(const QString &path, const Body &body)
{
    return exchange([path, body] { return postRequest(path, body); }, &judged<Reply>);
}

QFuture<MeResponse> KivoloAPI::me(const QString &deviceId)
{
    return get<MeResponse>(QStringLiteral("/me?device_id=") + queryEncoded(deviceId));
}

QFuture<CreateResponse> KivoloAPI::createCircle(const std::optional<QString> &ownerEmail,
                                                const QString &deviceId)
{
    return post<CreateResponse>(QStringLiteral("/circle/create"),
                                {{QStringLiteral("owner_email"), ownerEmail.value_or(QString())},
                                 {QStringLiteral("device_id"), deviceId}});
}

QFuture<JoinResponse> KivoloAPI::join(const QString &code, const QString &handle,
                                      const QString &deviceId, const QString &emoji)
{
    return post<JoinResponse>(QStringLiteral("/join"), {{QStringLiteral("code"), code},
                                                        {QStringLiteral("handle"), handle},
                                                        {QStringLiteral("device_id"), deviceId},
                                                        {QStringLiteral("emoji"), emoji}});
}

QFuture<OkResponse> KivoloAPI::send(const QString &circleId, const QString &fromMember,
                                    const QString &type, const QString &body,
                                    const std::optional<QString> &effect,
                                    const std::optional<qint64> &openAt)
{
    Body fields{{QStringLiteral("circle_id"), circleId},
                {QStringLiteral("from_member"), fromMember},
                {QStringLiteral("type"), type},
                {QStringLiteral("body"), body}};
    if (effect)
        fields.insert(QStringLiteral("effect"), *effect);
    if (openAt)
        fields.insert(QStringLiteral("open_at"), *openAt);
    return post<OkResponse>(QStringLiteral("/beam"), fields);
}

// Identifiers that the server issued go into queries as they are: string concatenation, because
// QString::arg would read a "%1" inside one as a place to fill.

QFuture<BeamsResponse> KivoloAPI::beams(const QString &circleId, const QString &memberId,
                                        qint64 since)
{
    return get<BeamsResponse>(QStringLiteral("/beams?circle_id=") + circleId +
                              QStringLiteral("&member_id=") + memberId + QStringLiteral("&since=") +
                              QString::number(since));
}

QFuture<HistoryResponse> KivoloAPI::history(const QString &circleId, qint64 limit)
{
    return get<HistoryResponse>(QStringLiteral("/history?circle_id=") + circleId +
                                QStringLiteral("&limit=") + QString::number(limit));
}

QFuture<Beam> KivoloAPI::capsule(const QString &id, const QString &circleId)
{
    return get<Beam>(QStringLiteral("/capsule?id=") + id + QStringLiteral("&circle_id=") +
                     circleId);
}

QFuture<VersionInfo> KivoloAPI::latestVersion()
{
    const auto build = [] {
        UrlRequest request;
        request.url = requestUrl(siteOrigin() + QStringLiteral("/version.json"));
        request.redirects = UrlRequest::Redirects::Anywhere; // it says nothing about who asks
        return request;
    };
    return exchange<VersionInfo>(
        build, [](const UrlReply &reply) { return VersionInfo::decode(reply.body); });
}

} // namespace kivolo
