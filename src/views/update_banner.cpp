#include "views/update_banner.h"

#include "api/records.h"
#include "platform/desktop/application.h"
#include "style/button.h"
#include "style/foreign_text.h"
#include "style/text_style.h"
#include "views/download_address.h"

#include <QUrl>

namespace kivolo {

static constexpr int closeReach = 6; // the cross can be hit this far around it

UpdateBanner::UpdateBanner(const VersionInfo &info, std::function<void()> onDismiss)
    : Stack(Qt::Horizontal, 8, Qt::AlignVCenter, {})
{
    const QUrl address = downloadAddress(info.url);
    const QString notesText = info.notes.value_or(QString());
    Text *notes = text(notesText, systemFont(9))->in(Fill::white(0.9))->oneLine();
    // clang-format off
    holding({
        symbol(SymbolName::ArrowDownCircleFill, textFont(TextStyle::Body).pixelSize())
            ->in(Fill::white()),
        vstack(0, {
            text(tr("Version %1 is out").arg(isolated(singleLine(info.version))), bold(textFont(TextStyle::Caption)))
                ->in(Fill::white())
                ->oneLine(),
            notes,
        }, Qt::AlignLeft),
        spacer(),
        hstack(8 - closeReach, {
            plainButton(text(tr("Update"), bold(textFont(TextStyle::Caption2)))->in(Fill::violet()),
                        [address] { application::openLink(address); })
                ->padded(9, 4)
                ->on(Background::capsule(Fill::white())),
            plainButton(symbol(SymbolName::Xmark, 9)->in(Fill::white()), tr("Close"),
                        std::move(onDismiss))
                ->padded(closeReach, closeReach - 1),
        }),
    })->padded({12, 8, 12 - closeReach, 8})
      ->on(Background::rectangle(Fill::gradient()))
      ->filling(Qt::Horizontal);
    // clang-format on
    setShown(notes, !notesText.isEmpty());
}

} // namespace kivolo
