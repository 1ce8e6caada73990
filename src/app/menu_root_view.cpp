#include "app/menu_root_view.h"

#include "core/store.h"
#include "platform/foundation/user_defaults.h"
#include "style/activity_indicator.h"
#include "style/focus_ring.h"
#include "views/compose_view.h"
#include "views/force_update_view.h"
#include "views/invite_waiting_view.h"
#include "views/onboarding_view.h"
#include "views/update_banner.h"
#include "views/welcome_carousel.h"

namespace kivolo {

static const QString welcomeSeen = QStringLiteral("kivolo_welcome_seen");

MenuRootView::MenuRootView(std::shared_ptr<Store> store, UserDefaults &defaults, MainQueue &queue)
    : Stack(Qt::Vertical, 0, Qt::AlignHCenter, {})
    , store_(std::move(store))
    , defaults_(defaults)
    , queue_(queue)
{
    // clang-format off
    holding({
        banner_ = vstack(0, {})->filling(Qt::Horizontal),
        content_ = vstack(0, {})->filling(),
    })->filling()
      ->on(Background::rectangle(Fill::window()));
    // clang-format on
    new FocusRing(this);

    observe(*store_, this, [this] { render(); });
    connect(&defaults_, &UserDefaults::changed, this, [this](const QString &key) {
        if (key == welcomeSeen)
            render();
    });
    render();
}

MenuRootView::Route MenuRootView::route() const
{
    if (store_->forceUpdate->has_value())
        return Route::BlockingUpdate;
    if (*store_->screen == Store::Screen::loading)
        return Route::Loading;
    if (!defaults_.boolean(welcomeSeen))
        return Route::Welcome;
    if (*store_->screen == Store::Screen::onboarding)
        return Route::CreateOrJoin;
    return store_->members->size() < 2 ? Route::Waiting : Route::Composer;
}

QWidget *MenuRootView::content(Route route)
{
    switch (route) {
    case Route::BlockingUpdate:
        return new ForceUpdateView(**store_->forceUpdate);
    case Route::Loading:
        return vstack(0, {new ActivityIndicator(ActivityIndicator::ControlSize::Regular)})
            ->padded(40)
            ->filling(Qt::Vertical);
    case Route::Welcome:
        return new WelcomeCarousel([this] { defaults_.setBoolean(welcomeSeen, true); });
    case Route::CreateOrJoin:
        return new OnboardingView(store_);
    case Route::Waiting:
        return new InviteWaitingView(store_, queue_);
    case Route::Composer:
        return new ComposeView(store_, defaults_, queue_, this);
    }
    Q_UNREACHABLE();
}

void MenuRootView::render()
{
    renderBanner();
    const Route now = route();
    const std::optional<QString> &download = *store_->forceUpdate;
    if (shownRoute_ == now && shownDownload_ == download)
        return;
    const bool hadFocus = isVisible() && window()->isActiveWindow();
    if (shownContent_) {
        shownContent_->hide();
        shownContent_->deleteLater(); // its own button may be what changed the route
    }
    shownRoute_ = now;
    shownDownload_ = download;
    shownContent_ = content(now);
    content_->holding({shownContent_});
    setFocusProxy(shownContent_);
    if (hadFocus)
        shownContent_->setFocus();
}

void MenuRootView::renderBanner()
{
    const std::optional<VersionInfo> &offer = *store_->update;
    const bool wanted = offer && !store_->forceUpdate->has_value();
    if (wanted && shownBanner_ && shownOffer_ == offer)
        return;
    if (shownBanner_) {
        shownBanner_->hide();
        shownBanner_->deleteLater();
        shownBanner_ = nullptr;
    }
    if (!wanted)
        return;
    shownOffer_ = offer;
    shownBanner_ = new UpdateBanner(*offer, [session = store_] { session->update = {}; });
    banner_->holding({shownBanner_});
}

} // namespace kivolo
