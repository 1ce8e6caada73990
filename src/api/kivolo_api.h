// All traffic with the server: the endpoints, the checks, the decoding.
#pragma once

#include "api/records.h"
#include "platform/foundation/url_session.h"

#include <QFuture>
#include <QMap>
#include <QString>
#include <functional>
#include <variant>

namespace kivolo {

/// What the server answered instead of a success.
class ApiError : public LocalizedError
{
public:
    static constexpr const char *domain = "kivolo";
    static constexpr int code = 1;

    using LocalizedError::LocalizedError;
};

/// A request body that cannot be written as JSON. Nothing was sent.
class SerializationError : public LocalizedError
{
public:
    using LocalizedError::LocalizedError;
};

/// The request operations. Each may be called from any thread and returns at once; building,
/// sending, checking and decoding happen in the background (a small reply that is there before its
/// future has been handed out is decoded by the caller). A future ends with the decoded
/// record or with one of: TransportError, UrlError, SerializationError, ApiError, DecodingError,
/// all LocalizedErrors. No operation retries, caches or keeps anything.
class KivoloAPI
{
public:
    using Body = QMap<QString, std::variant<QString, qint64>>;

    KivoloAPI() = delete;

    /// Called on the main thread with a download address when the server no longer serves this
    /// version (status 426). Set once, before the first request.
    static std::function<void(const QString &url)> onForceUpdate;

    /// The device's status.
    static QFuture<MeResponse> me(const QString &deviceId);
    /// A new circle; without an address of its owner, an empty one is sent.
    static QFuture<CreateResponse> createCircle(const std::optional<QString> &ownerEmail,
                                                const QString &deviceId);
    /// The beams that arrived since `since`, seconds since 1970.
    static QFuture<BeamsResponse> beams(const QString &circleId, const QString &memberId,
                                        qint64 since);
    /// The latest beams, at most `limit`, oldest first.
    static QFuture<HistoryResponse> history(const QString &circleId, qint64 limit);
    /// An opened capsule.
    static QFuture<Beam> capsule(const QString &id, const QString &circleId);
    /// The version file of the landing site, asked for in the session's own way and wherever the
    /// site has moved it. Its HTTP status is not looked at: a page that reports an error does not
    /// decode.
    static QFuture<VersionInfo> latestVersion();

    /// Posts `body` as a JSON object to `path`, which begins with a slash.
    template<typename Reply>
    static QFuture<Reply> post(const QString &path, const Body &body);

private:
    static QString appVersion();
    static UrlRequest getRequest(const QString &path);
    static UrlRequest postRequest(const QString &path, const Body &body);
    static void check(const UrlReply &reply);
    static ApiError apiError(const QByteArray &body);
    /// The record of a reply that passes check().
    template<typename Reply>
    static Reply judged(const UrlReply &reply);

    template<typename Reply>
    static QFuture<Reply> get(const QString &path);
};

extern template QFuture<JoinResponse> KivoloAPI::post(const QString &, const Body &);
extern template QFuture<OkResponse> KivoloAPI::post(const QString &, const Body &);

} // namespace kivolo
