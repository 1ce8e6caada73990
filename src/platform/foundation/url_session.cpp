#include "platform/foundation/url_session.h"

#include <QCoreApplication>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPromise>
#include <QSet>
#include <QThreadPool>
#include <mutex>

namespace kivolo {

namespace {

/// The promise of one reply. One that is given up, because its session has ended, is a failure: who
/// waits for it would otherwise find neither a reply nor an error.
class PendingReply
{
public:
    PendingReply() { promise_.start(); }
    ~PendingReply()
    {
        if (!promise_.future().isFinished())
            fail(std::make_exception_ptr(TransportError(
                QCoreApplication::translate("UrlSession", "The program is ending."))));
    }
    PendingReply(const PendingReply &) = delete;
    PendingReply &operator=(const PendingReply &) = delete;

    QFuture<UrlReply> future() const { return promise_.future(); }
    void succeed(const UrlReply &reply)
    {
        promise_.addResult(reply);
        promise_.finish();
    }
    void fail(const std::exception_ptr &error)
    {
        promise_.setException(error);
        promise_.finish();
    }

private:
    QPromise<UrlReply> promise_;
};

using ReplyPromise = std::shared_ptr<PendingReply>;

/// The user's proxy settings, except that loopback is never reached through one.
class ProxyFactory final : public QNetworkProxyFactory
{
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &query) override
    {
        const QString host = query.peerHostName();
        if (host == QLatin1String("localhost") || QHostAddress(host).isLoopback())
            return {QNetworkProxy::NoProxy};
        return systemProxyForQuery(query);
    }
};

QNetworkRequest networkRequest(const UrlRequest &request)
{
    QNetworkRequest network(request.url);
    network.setTransferTimeout(static_cast<int>(request.timeout.count()));
    network.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    network.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    network.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    for (const auto &[name, value] : request.headers)
        network.setRawHeader(name, value);
    return network;
}

bool mayFollow(const QUrl &from, const QUrl &to)
{
    const auto port = [](const QUrl &url) {
        return url.port(url.scheme() == QLatin1String("https") ? 443 : 80);
    };
    if (to.host() != from.host())
        return false;
    if (to.scheme() == from.scheme())
        return port(to) == port(from);
    return from.scheme() == QLatin1String("http") && to.scheme() == QLatin1String("https");
}

/// The address a GET's reply sends us on to, if it does and if we go there.
std::optional<QUrl> redirection(const UrlRequest &request, const QNetworkReply &reply)
{
    const QVariant target = reply.attribute(QNetworkRequest::RedirectionTargetAttribute);
    if (request.method != "GET" || !target.isValid())
        return std::nullopt;
    const QUrl url = request.url.resolved(target.toUrl());
    return mayFollow(request.url, url) ? std::optional(url) : std::nullopt;
}

/// An error status is an answer of the server's, not a failure to reach it.
bool isAnswer(const QNetworkReply &reply)
{
    const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const auto error = reply.error();
    return error == QNetworkReply::NoError ||
           (status >= 400 && error >= QNetworkReply::ContentAccessDenied);
}

QString failureText(const QNetworkReply &reply)
{
    // Qt reports its own time-out as a cancellation, which would tell the user nothing.
    if (reply.error() == QNetworkReply::OperationCanceledError)
        return QCoreApplication::translate("UrlSession", "The request timed out.");
    return reply.errorString();
}

} // namespace

/// The part of the session that lives on its thread.
class UrlSession::Loader : public QObject
{
public:
    explicit Loader(qint64 maxBytes)
        : maxReplyBytes_(maxBytes)
    {}

    ~Loader() override
    {
        const auto replies = active_;
        for (QNetworkReply *reply : replies)
            reply->abort();
    }

    void start(const UrlRequest &request, const ReplyPromise &promise, int redirectsLeft = 10);

private:
    void finish(QNetworkReply *reply, const UrlRequest &request, const ReplyPromise &promise,
                int redirectsLeft, QByteArray &body);
    void countFailure(QNetworkReply::NetworkError error);

    QNetworkAccessManager &manager();

    const qint64 maxReplyBytes_;
    std::unique_ptr<QNetworkAccessManager> manager_;
    QSet<QNetworkReply *> active_;
    int failuresInARow_ = 0;
};

QNetworkAccessManager &UrlSession::Loader::manager()
{
    // Made on the session's thread, to which it then belongs.
    if (!manager_) {
        manager_ = std::make_unique<QNetworkAccessManager>();
        manager_->setProxyFactory(new ProxyFactory); // the manager owns it
    }
    return *manager_;
}

void UrlSession::Loader::start(const UrlRequest &request, const ReplyPromise &promise,
                               int redirectsLeft)
{
    const QNetworkRequest network = networkRequest(request);
    QNetworkReply *reply =
        request.method == "POST" ? manager().post(network, request.body) : manager().get(network);
    active_.insert(reply);
    const auto body = std::make_shared<QByteArray>();
    connect(reply, &QNetworkReply::metaDataChanged, reply, [this, reply, body] {
        const qint64 length = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
        if (length > 0 && length <= maxReplyBytes_)
            body->reserve(length);
    });
    connect(reply, &QNetworkReply::readyRead, reply, [this, reply, body] {
        body->append(reply->readAll());
        if (body->size() > maxReplyBytes_)
            reply->abort();
    });
    connect(reply, &QNetworkReply::finished, this, [=, this] {
        if (reply->isReadable())
            body->append(reply->readAll());
        finish(reply, request, promise, redirectsLeft, *body);
    });
}

void UrlSession::Loader::finish(QNetworkReply *reply, const UrlRequest &request,
                                const ReplyPromise &promise, int redirectsLeft, QByteArray &body)
{
    active_.remove(reply);
    reply->deleteLater();
    const auto fail = [&](const QString &description) {
        promise->fail(std::make_exception_ptr(TransportError(description)));
    };
    if (body.size() > maxReplyBytes_)
        return fail(QCoreApplication::translate("UrlSession", "The server's reply is too large."));
    if (!isAnswer(*reply)) {
        countFailure(reply->error());
        return fail(failureText(*reply));
    }
    failuresInARow_ = 0;
    const std::optional<QUrl> next = redirection(request, *reply);
    if (next && redirectsLeft > 0) {
        UrlRequest redirected = request;
        redirected.url = *next;
        return start(redirected, promise, redirectsLeft - 1);
    }
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    promise->succeed(
        {status.isValid() ? std::optional(status.toInt()) : std::nullopt, std::move(body)});
}

void UrlSession::Loader::countFailure(QNetworkReply::NetworkError error)
{
    // After a suspend, a connection can be dead without either side having closed it, and every
    // request on it runs into its time-out. Flushing stops what is under way, so it waits for calm.
    const bool timedOut = error == QNetworkReply::OperationCanceledError;
    if ((timedOut || ++failuresInARow_ >= 2) && active_.isEmpty())
        manager().clearConnectionCache();
}

UrlSession::UrlSession(qint64 maxBytes)
    : loader_(new Loader(maxBytes))
{
    thread_.setObjectName(QStringLiteral("UrlSession"));
    loader_->moveToThread(&thread_);
    QObject::connect(&thread_, &QThread::finished, loader_, &QObject::deleteLater);
    thread_.start();
}

UrlSession::~UrlSession()
{
    thread_.quit();
    thread_.wait();
}

UrlSession &UrlSession::shared()
{
    static std::unique_ptr<UrlSession> session;
    static std::once_flag made;
    std::call_once(made, [] {
        session = std::make_unique<UrlSession>();
        qAddPostRoutine([] {
            // A job on the pool may be about to use the session.
            QThreadPool::globalInstance()->waitForDone();
            session.reset();
        });
    });
    return *session;
}

QFuture<UrlReply> UrlSession::data(std::function<UrlRequest()> build)
{
    const auto promise = std::make_shared<PendingReply>();
    const auto send = [loader = loader_, build = std::move(build), promise] {
        try {
            loader->start(build(), promise);
        } catch (...) {
            promise->fail(std::current_exception());
        }
    };
    QMetaObject::invokeMethod(loader_, send, Qt::QueuedConnection);
    return promise->future();
}

} // namespace kivolo
