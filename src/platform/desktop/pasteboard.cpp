#include "platform/desktop/pasteboard.h"

#include <QClipboard>
#include <QGuiApplication>

namespace kivolo::pasteboard {

void setString(const QString &text)
{
    QClipboard *clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setText(text);
}

} // namespace kivolo::pasteboard
