// Where the server and the landing site are.
#pragma once

#include "platform/foundation/localized_error.h"

#include <QString>
#include <QUrl>

namespace kivolo {

/// A text that is no address this program sends requests to.
class UrlError : public LocalizedError
{
public:
    using LocalizedError::LocalizedError;
};

/// Origin of the API server, without trailing slash: KIVOLO_API_URL of the environment, or the
/// one set when the program was built.
QString apiOrigin();

/// Origin of the landing site, without trailing slash: KIVOLO_SITE_URL of the environment, or the
/// one set when the program was built.
QString siteOrigin();

/// The address that `text` spells, byte by byte as it stands. Throws a UrlError for anything else:
/// a character that has no place in an address, a fragment (the server would never see it),
/// a scheme other than https, unless it is http to a loopback host.
QUrl requestUrl(const QString &text);

} // namespace kivolo
