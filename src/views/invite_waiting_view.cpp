#include "views/invite_waiting_view.h"

#include "api/origins.h"
#include "core/store.h"
#include "platform/desktop/application.h"
#include "style/activity_indicator.h"
#include "style/button.h"
#include "style/text_style.h"
#include "views/breathing.h"
#include "views/overflow_menu.h"
#include "views/scroll_view.h"
#include "views/view_task.h"

#include <QMenu>
#include <QUrl>

namespace kivolo {

static constexpr int leastSpacing = 5; // in the panel, under a banner

static QFont codeFont()
{
    QFont font = monospaced(systemFont(30, QFont::ExtraBold));
    font.setLetterSpacing(QFont::AbsoluteSpacing, 3);
    return font;
}

InviteWaitingView::InviteWaitingView(std::shared_ptr<Store> store, MainQueue &queue)
    : Stack(Qt::Vertical, 0, Qt::AlignHCenter, {})
    , store_(std::move(store))
    , codeCopy_(store_, queue, [this] { render(); })
{
    const QFont caption = textFont(TextStyle::Caption);
    const QString site = QUrl(siteOrigin()).host();
    // clang-format off
    holding({
        headerBand(),
        new ScrollView(vstack(18, {
            breathing(illustration(QStringLiteral("invite"), 130)),
            text(tr("Invite your person"), bold(textFont(TextStyle::Title2))),
            text(tr("Kivolo is better together. Share this code with the one\n"
                    "you want to be with — the moment they join, you’re connected."),
                 textFont(TextStyle::Callout))
                ->in(Fill::secondary()),
            hstack(0, {codeBox()})->padded(30, 0),
            hstack(7, {
                new ActivityIndicator(ActivityIndicator::ControlSize::Small),
                waiting_ = text({}, caption)->in(Fill::secondary()),
            }),
            text(tr("Make sure they download Kivolo first:\n%1").arg(site),
                 textFont(TextStyle::Caption2))
                ->in(Fill::secondary(0.8)),
        })->padded(20, 0)->tightening(leastSpacing)),
    })->filling();
    // clang-format on
    setFocusProxy(codeButton_);
    new ViewTask(this, [session = store_](std::stop_token stop) {
        return session->refreshUntilJoined(std::move(stop));
    });
    observe(*store_, this, [this] { render(); });
    render();
}

Stack *InviteWaitingView::headerBand()
{
    auto *menu = new QMenu;
    addDestructiveAction(menu, tr("Leave / use another code"),
                         [session = store_] { session->leave(); });
    menu->addAction(tr("Quit Kivolo"), &application::terminate);
    // clang-format off
    return hstack(8, {
        text(QStringLiteral("Kivolo"), textFont(TextStyle::Headline))->in(Fill::white()),
        spacer(),
        overflowMenu(menu),
    })->padded(14, 12)
      ->on(Background::rectangle(Fill::gradient()))
      ->filling(Qt::Horizontal);
    // clang-format on
}

Button *InviteWaitingView::codeBox()
{
    // clang-format off
    return codeButton_ = plainButton(
        vstack(6, {
            text(tr("YOUR INVITE CODE"), systemFont(9, QFont::Bold))
                ->in(Fill::secondary())
                ->oneLine(),
            code_ = text({}, codeFont())->oneLine(),
            hint_ = label({}, SymbolName::DocOnDoc, textFont(TextStyle::Caption))
                        ->in(Fill::violet()),
        }), {}, [this] { codeCopy_.copy(); })
        ->padded(0, 16)
        ->on(Background::rounded(16, Fill::violet(0.08)).outlined(Fill::violet(0.25)))
        ->filling(Qt::Horizontal);
    // clang-format on
}

void InviteWaitingView::render()
{
    code_->replace(*store_->code);
    if (codeCopy_.isConfirmed())
        hint_->replace(tr("Copied!"), SymbolName::Checkmark);
    else
        hint_->replace(tr("Tap to copy"), SymbolName::DocOnDoc);
    codeButton_->setAccessibleName(tr("Invite code %1").arg(code_->text()));
    codeButton_->setAccessibleDescription(hint_->text());
    waiting_->replace(
        tr("Waiting for them to join…  %1/%2").arg(store_->members->size()).arg(*store_->maxSeats));
}

} // namespace kivolo
