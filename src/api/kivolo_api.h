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
    KivoloAPI() = delete;

    /// Called on the main thread with a download address when the server no longer serves this
    /// version (status 426). Set once, before the first request.
    static std::function<void(const QString &url)> onForceUpdate;

    /// The device's status.
    static QFuture<MeResponse> me(const QString &deviceId);
    /// A new circle; without an address of its owner, an empty one is sent.
    static QFuture<CreateResponse> createCircle(const std::optional<QString> &ownerEmail,
                                                const QString &deviceId);
    /// A seat in the circle with this invite code.
    static QFuture<JoinResponse> join(const QString &code, const QString &handle,
                                      const QString &deviceId, const QString &emoji);
    /// Hands a beam to the circle; what is absent is not in the request.
    static QFuture<OkResponse> send(const QString &circleId, const QString &fromMember,
                                    const QString &type, const QString &body,
                                    const std::optional<QString> &effect,
                                    const std::optional<qint64> &openAt);
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

private:
    using Body = QMap<QString, std::variant<QString, qint64>>;

    static QString appVersion();
    static UrlRequest getRequest(const QString &path);
    static UrlRequest postRequest(const QString &path, const Body &body);
    static QByteArray serialize(const Body &body);
    static void check(const UrlReply &reply);
    static ApiError apiError(const QByteArray &body);
    /// The record of a reply that passes check().
    template<typename Reply>
    static Reply judged(const UrlReply &reply);

    // Of paths that begin with a slash.
    template<typename Reply>
    static QFuture<Reply> get(const QString &path);
    template<typename Reply>
    static QFuture<Reply> post(const QString &path, const Body &body);
};

} // namespace kivolo
