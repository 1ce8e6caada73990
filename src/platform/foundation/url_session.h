// HTTP requests off the main thread.
#pragma once

#include "platform/foundation/localized_error.h"

#include <QByteArray>
#include <QFuture>
#include <QList>
#include <QThread>
#include <QUrl>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace kivolo {

/// No reply came: no connection, time-out, TLS failure, a reply cut short or beyond the bound.
class TransportError : public LocalizedError
{
public:
    using LocalizedError::LocalizedError;
};

struct UrlRequest
{
    /// Where a GET may be sent on to: its own origin, or from http to https on its own host; or any
    /// host, for a request that carries nothing worth keeping, but never from https to http.
    enum class Redirects { AtHome, Anywhere };

    QUrl url;
    QByteArray method = "GET"; ///< "GET" or "POST"
    QList<std::pair<QByteArray, QByteArray>> headers;
    QByteArray body; ///< Of a "POST".
    /// How long the request may stand still; absent: as long as its session lets one.
    std::optional<std::chrono::milliseconds> timeout;
    Redirects redirects = Redirects::AtHome;
};

struct UrlReply
{
    std::optional<int> status; ///< Absent when the reply did not come by HTTP.
    QByteArray body;
};

/// One long-lived network access manager on a thread of its own. TLS is always verified, cookies
/// are neither sent nor kept. No request is sent twice: one whose connection closes before the
/// reply fails, because nobody can tell whether it arrived. A redirect that a GET may not follow,
/// and any redirect of a POST, is handed on as the reply it is, so that no body is resent and no
/// identifier leaves its host.
class UrlSession
{
public:
    /// How long a request that names no time of its own may stand still. Qt would wait for ever.
    static constexpr std::chrono::seconds defaultTimeout{60};

    /// The largest reply body taken. Forty of the largest doodles are 80 MiB; twice as much
    /// memory is spent for a moment while a reply is decoded.
    static constexpr qint64 maxReplyBytes = 96 * 1024 * 1024;

    explicit UrlSession(qint64 maxBytes = maxReplyBytes,
                        std::chrono::milliseconds timeout = defaultTimeout);
    /// Fails what is under way and ends the thread.
    ~UrlSession();

    /// The process's session: made at first use, gone before the application object is.
    static UrlSession &shared();

    /// Makes the request on the session's thread and sends it; to be called from any thread. The
    /// future finishes on the session's thread with the whole reply, whatever its status, or with
    /// a TransportError, or with what `build` threw.
    QFuture<UrlReply> data(std::function<UrlRequest()> build);

private:
    class Loader;

    QThread thread_;
    Loader *loader_; // lives on thread_, which deletes it when it ends
};

} // namespace kivolo
