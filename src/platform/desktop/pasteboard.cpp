#include "platform/desktop/pasteboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QImage>

namespace kivolo::pasteboard {

void setString(const QString &text)
{
    QClipboard *clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setText(text);
}

void setImage(const QImage &image)
{
    QClipboard *clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setImage(image);
}

} // namespace kivolo::pasteboard
