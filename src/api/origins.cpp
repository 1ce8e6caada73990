#include "api/origins.h"

#include "platform/foundation/environment.h"

#include <QCoreApplication>
#include <QHostAddress>
#include <algorithm>
#include <cctype>
#include <cstring>

namespace kivolo {

namespace {

QString origin(const char *variable, const char *builtIn)
{
    QString text = environmentVariable(variable).value_or(QString::fromUtf8(builtIn));
    while (text.endsWith(u'/'))
        text.chop(1);
    return text;
}

bool isUrlText(const QByteArray &bytes)
{
    static constexpr char punctuation[] = "-._~:/?[]@!$&'()*+,;=%";
    const auto isHex = [&](qsizetype i) {
        return i < bytes.size() && std::isxdigit(static_cast<unsigned char>(bytes[i]));
    };
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const auto c = static_cast<unsigned char>(bytes[i]);
        if (c == 0 || c >= 0x80 || !(std::isalnum(c) || std::strchr(punctuation, c)))
            return false;
        if (c == '%' && !(isHex(i + 1) && isHex(i + 2)))
            return false;
    }
    return true;
}

bool isLoopback(const QString &host)
{
    return host == QLatin1String("localhost") || QHostAddress(host).isLoopback();
}

} // namespace

QString apiOrigin()
{
    return origin("KIVOLO_API_URL", KIVOLO_API_URL);
}

QString siteOrigin()
{
    return origin("KIVOLO_SITE_URL", KIVOLO_SITE_URL);
}

QUrl requestUrl(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    QUrl url = isUrlText(bytes) ? QUrl::fromEncoded(bytes, QUrl::StrictMode) : QUrl();
    if (!url.isValid() || url.host().isEmpty())
        throw UrlError(
            QCoreApplication::translate("KivoloAPI", "The server's address is not valid."));
    const bool secure = url.scheme() == QLatin1String("https");
    const bool local = url.scheme() == QLatin1String("http") && isLoopback(url.host());
    if (!secure && !local)
        throw UrlError(QCoreApplication::translate("KivoloAPI",
                                                   "The server's address must begin with https."));
    return url;
}

} // namespace kivolo
