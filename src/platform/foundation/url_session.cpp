#include "platform/foundation/url_session.h"

#include "platform/foundation/proxies.h"

#include <QCoreApplication>
#include <QIODevice>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPromise>
#include <QSet>
#include <QThreadPool>
#include <algorithm>
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

class ProxyFactory final : public QNetworkProxyFactory
{
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &query) override
    {
        return proxiesFor(query);
    }
};

/// The body of one request, which can be read only once. When a connection closes before the reply,
/// Qt sends the request again by itself, up to three times, whatever its method; only a body that
/// cannot be rewound keeps it from that. So a GET has one as well: an empty one, which goes over
/// the wire as a length of 0. Over HTTP/2 Qt repeats nothing.
class BodyReadOnce final : public QIODevice
{
public:
    explicit BodyReadOnce(const QByteArray &bytes)
        : bytes_(bytes)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

    bool isSequential() const override { return true; }
    bool reset() override { return false; }
    qint64 bytesAvailable() const override { return bytes_.size() - read_; }

protected:
    qint64 readData(char *data, qint64 most) override
    {
        const qint64 size = std::min(most, bytes_.size() - read_);
        std::copy_n(bytes_.constData() + read_, size, data);
        read_ += size;
        return size;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    const QByteArray bytes_;
    qint64 read_ = 0;
};

QNetworkRequest networkRequest(const UrlRequest &request, std::chrono::milliseconds timeout)
{
    QNetworkRequest network(request.url);
    // Without a length Qt would keep a copy of the body, to which it could go back.
    network.setHeader(QNetworkRequest::ContentLengthHeader, request.body.size());
    network.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
    network.setTransferTimeout(static_cast<int>(timeout.count()));
    network.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    network.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    network.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    for (const auto &[name, value] : request.headers)
        network.setRawHeader(name, value);
    return network;
}

bool mayFollow(const UrlRequest &request, const QUrl &to)
{
    const auto port = [](const QUrl &url) {
        return url.port(url.scheme() == QLatin1String("https") ? 443 : 80);
    };
    const QUrl &from = request.url;
    const bool sameScheme = to.scheme() == from.scheme();
    if (!sameScheme && to.scheme() != QLatin1String("https"))
        return false;
    if (request.redirects == UrlRequest::Redirects::Anywhere)
        return true;
    return to.host() == from.host() && (!sameScheme || port(to) == port(from));
}

/// The address a GET's reply sends us on to, if it does and if we go there.
std::optional<QUrl> redirection(const UrlRequest &request, const QNetworkReply &reply)
{
    const QVariant target = reply.attribute(QNetworkRequest::RedirectionTargetAttribute);
    if (request.method != "GET" || !target.isValid())
        return std::nullopt;
    const QUrl url = request.url.resolved(target.toUrl());
    return mayFollow(request, url) ? std::optional(url) : std::nullopt;
}

/// An error status is an answer of the server's, not a failure to reach it.
bool isAnswer(const QNetworkReply &reply)
{
    const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const auto error = reply.error();
    return error == QNetworkReply::NoError ||
           (status >= 400 && error >= QNetworkReply::ContentAccessDenied) ||
           (status == 407 && error == QNetworkReply::ProxyAuthenticationRequiredError);
}

QString failureText(const QNetworkReply &reply)
{
    switch (reply.error()) {
    case QNetworkReply::OperationCanceledError:
        // Qt reports its own time-out as a cancellation, which would tell the user nothing.
        return QCoreApplication::translate("UrlSession", "The request timed out.");
    case QNetworkReply::ContentReSendError: // Qt would have sent it again
    case QNetworkReply::RemoteHostClosedError:
        return QCoreApplication::translate("UrlSession",
                                           "The connection closed before the server had answered. "
                                           "What you sent may have arrived all the same.");
    default:
        return reply.errorString();
    }
}

} // namespace

/// The part of the session that lives on its thread.
class UrlSession::Loader : public QObject
{
public:
    Loader(qint64 maxBytes, std::chrono::milliseconds timeout)
        : maxReplyBytes_(maxBytes)
        , timeout_(timeout)
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
    const std::chrono::milliseconds timeout_;
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
    auto *upload = new BodyReadOnce(request.body);
    QNetworkReply *reply = manager().sendCustomRequest(
        networkRequest(request, request.timeout.value_or(timeout_)), request.method, upload);
    upload->setParent(reply);
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

UrlSession::UrlSession(qint64 maxBytes, std::chrono::milliseconds timeout)
    : loader_(new Loader(maxBytes, timeout))
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
