#include "platform/desktop/application.h"
#include "platform/desktop/pasteboard.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QMimeData>
#include <QUrl>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

// Stands for the desktop's browser.
class Opener final : public QObject
{
    Q_OBJECT
public:
    Opener()
    {
        for (const char *scheme : {"http", "https", "file", "ftp", "ssh"})
            QDesktopServices::setUrlHandler(QLatin1String(scheme), this, "open");
    }
    ~Opener() override
    {
        for (const char *scheme : {"http", "https", "file", "ftp", "ssh"})
            QDesktopServices::unsetUrlHandler(QLatin1String(scheme));
    }
    QList<QUrl> opened;

public Q_SLOTS:
    void open(const QUrl &url) { opened << url; }
};

TEST(Application, OpensNothingButWebAddresses)
{
    Opener browser;
    const struct
    {
        const char *url;
        bool opens;
    } cases[] = {
        {"https://example.org/Kivolo.dmg", true},
        {"http://example.org", true},
        {"HTTPS://example.org", true},
        {"file:///etc/passwd", false},
        {"ssh://example.org", false},
        {"ftp://example.org", false},
        {"example.org", false},
        {"https:", false},
        {"", false},
    };
    for (const auto &[url, opens] : cases) {
        browser.opened.clear();
        EXPECT_EQ(application::openLink(QUrl(QString::fromLatin1(url))), opens) << url;
        EXPECT_EQ(browser.opened.size(), opens ? 1 : 0) << url;
    }
}

TEST(Application, PasteboardHoldsPlainTextOnly)
{
    auto previous = std::make_unique<QMimeData>();
    previous->setHtml(QStringLiteral("<b>old</b>"));
    QGuiApplication::clipboard()->setMimeData(previous.release());
    pasteboard::setString(QStringLiteral("<i>K7M2</i>"));
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("<i>K7M2</i>"));
    EXPECT_FALSE(QGuiApplication::clipboard()->mimeData()->hasHtml());
}

TEST(Application, ActivationWithoutAWindowIsHarmless)
{
    application::activate();
    EXPECT_FALSE(QGuiApplication::focusWindow());
}

} // namespace
} // namespace kivolo

#include "application_test.moc"
