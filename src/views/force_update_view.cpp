#include "views/force_update_view.h"

#include "platform/desktop/application.h"
#include "style/button.h"
#include "style/text_style.h"
#include "views/download_address.h"

#include <QUrl>

namespace kivolo {

ForceUpdateView::ForceUpdateView(const QString &url)
    : Stack(Qt::Vertical, 16, Qt::AlignHCenter, {})
{
    Button *update =
        prominentButton(text(tr("Update now"), textFont(TextStyle::Body)),
                        [address = downloadAddress(url)] { application::openLink(address); });
    // clang-format off
    holding({
        symbol(SymbolName::ArrowDownCircleFill, 52)->in(Fill::gradient()),
        text(tr("Update required"), bold(textFont(TextStyle::Title2))),
        text(tr("Update to the latest Kivolo\nto keep going."), textFont(TextStyle::Callout))
            ->in(Fill::secondary()),
        hstack(0, {update->filling(Qt::Horizontal)})->padded(44, 0),
    })->padded(30)->filling();
    // clang-format on
    setFocusProxy(update);
}

} // namespace kivolo
