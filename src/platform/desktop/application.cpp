#include "platform/desktop/application.h"

#include <QApplication>
#include <QDesktopServices>
#include <QUrl>
#include <QWidget>

namespace kivolo::application {

void chooseWindowSystem()
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");
}

void activate()
{
    const auto windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        const bool ordinary = window->isWindow() && window->isVisible() &&
                              !window->windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus);
        if (!ordinary)
            continue;
        window->raise();
        window->activateWindow();
    }
}

void terminate()
{
    QCoreApplication::quit();
}

bool openLink(const QUrl &url)
{
    const bool web =
        url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http");
    return web && url.isValid() && !url.host().isEmpty() && QDesktopServices::openUrl(url);
}

} // namespace kivolo::application
