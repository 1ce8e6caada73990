#include "views/compose_view.h"

#include "core/store.h"
#include "feed/feed_view.h"
#include "platform/foundation/user_defaults.h"
#include "style/stack.h"
#include "style/text.h"
#include "style/text_style.h"
#include "views/compose_header.h"
#include "views/composer.h"
#include "views/scroll_view.h"
#include "views/view_task.h"

#include <QAbstractButton>

namespace kivolo {

static QString guideKey(FeatureGuide guide)
{
    return QStringLiteral("kivolo_guide_") + rawValue(guide);
}

/// What the feed holds while there is nothing in it.
static ScrollView *emptyState()
{
    constexpr int padding = FeedGeometry::padding;
    constexpr int below = FeedGeometry::spacing + FeedGeometry::marker + padding;
    // clang-format off
    return new ScrollView(vstack(0, {
        vstack(8, {
            illustration(QStringLiteral("empty"), 110),
            text(ComposeView::tr("Say hi to your people"), textFont(TextStyle::Headline)),
            text(ComposeView::tr("Your first note or doodle shows up here — and pops live on their "
                                 "screen."),
                 textFont(TextStyle::Callout))
                ->in(Fill::secondary())
                ->padded(30, 0),
        })->filling(Qt::Horizontal),
        spacer(),
    })->padded({padding, padding + 44, padding, below}));
    // clang-format on
}

ComposeView::ComposeView(std::shared_ptr<Store> store, UserDefaults &defaults, MainQueue &queue,
                         QWidget *stage)
    : store_(std::move(store))
    , defaults_(defaults)
    , stage_(stage ? stage : this)
{
    composer_ = new Composer(store_, queue, [this](FeatureGuide guide) { tapFeature(guide); });
    // clang-format off
    column_ = vstack(0, {
        new ComposeHeader(store_, queue),
        feed_ = new FeedView(queue),
        emptyState_ = emptyState(),
        composer_,
    });
    // clang-format on
    column_->setParent(this);
    setFocusProxy(composer_);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);

    new ViewTask(this, [session = store_](std::stop_token stop) {
        return session->refreshStatusAndHistory(std::move(stop));
    });
    observe(*store_, this, [this] { render(); });
    render();
}

ComposeView::~ComposeView()
{
    delete guideCard_;
}

void ComposeView::hideEvent(QHideEvent *)
{
    if (isHidden()) // itself, for another screen; not with its window
        setActiveGuide({});
}

void ComposeView::render()
{
    const bool empty = store_->feed->isEmpty();
    feed_->setBeams(store_->feed, store_->memberId);
    setShown(feed_, !empty);
    setShown(emptyState_, empty);
}

void ComposeView::resizeEvent(QResizeEvent *)
{
    column_->setGeometry(rect());
}

void ComposeView::tapFeature(FeatureGuide guide)
{
    if (defaults_.boolean(guideKey(guide)))
        composer_->perform(guide);
    else
        setActiveGuide(guide);
}

void ComposeView::setActiveGuide(std::optional<FeatureGuide> guide)
{
    if (guideCard_) {
        guideCard_->hide();
        guideCard_->deleteLater(); // one of its own buttons may be what brought us here
        guideCard_ = nullptr;
        composer_->setFocus();
    }
    if (!guide)
        return;
    // Only keys give the focus to a button.
    const bool byKeys = qobject_cast<QAbstractButton *>(focusWidget());
    const auto primary = [this, guide = *guide] {
        defaults_.setBoolean(guideKey(guide), true);
        setActiveGuide({});
        composer_->perform(guide);
    };
    guideCard_ = new FeatureGuideCard(
        *guide, primary, [this] { setActiveGuide({}); }, stage_);
    guideCard_->show();
    guideCard_->setFocus(byKeys ? Qt::TabFocusReason : Qt::OtherFocusReason);
}

} // namespace kivolo
