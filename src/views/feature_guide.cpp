#include "views/feature_guide.h"

#include "style/button.h"
#include "style/shadow.h"
#include "style/stack.h"
#include "style/stack_layout.h"
#include "style/text_style.h"

#include <QKeyEvent>
#include <QPainter>

namespace kivolo {

namespace {

constexpr float backdropOpacity = 0.35F;
constexpr double cardRadius = 18;
constexpr Shadow cardShadow{.opacity = 0.33, .sigma = 10, .drop = 0};

constexpr FeatureGuide everyGuide[] = {FeatureGuide::buzz, FeatureGuide::capsule,
                                       FeatureGuide::doodle};

} // namespace

QString rawValue(FeatureGuide guide)
{
    switch (guide) {
    case FeatureGuide::buzz:
        return QStringLiteral("buzz");
    case FeatureGuide::capsule:
        return QStringLiteral("capsule");
    case FeatureGuide::doodle:
        return QStringLiteral("doodle");
    }
    Q_UNREACHABLE();
}

std::optional<FeatureGuide> featureGuide(const QString &raw)
{
    for (const FeatureGuide guide : everyGuide) {
        if (rawValue(guide) == raw)
            return guide;
    }
    return {};
}

FeatureGuideContent FeatureGuideContent::of(FeatureGuide guide)
{
    switch (guide) {
    case FeatureGuide::buzz:
        return {SymbolName::DotRadiowavesLeftAndRight, FeatureGuideCard::tr("Buzz"),
                FeatureGuideCard::tr(
                    "Need them to see your message right now? A Buzz drops a big shaking card in "
                    "the center of their screen and pulls Kivolo to the front — perfect when a "
                    "teammate has been ignoring your Slack for an hour."),
                FeatureGuideCard::tr("Send a Buzz")};
    case FeatureGuide::capsule:
        return {SymbolName::Hourglass, FeatureGuideCard::tr("Time capsule"),
                FeatureGuideCard::tr(
                    "Write something and choose when it opens — in an hour, a day, a week. It "
                    "lands on their Mac as a live countdown. Off tomorrow? Leave a task that opens "
                    "in 24h so a coworker won't forget."),
                FeatureGuideCard::tr("Make a capsule")};
    case FeatureGuide::doodle:
        return {SymbolName::ScribbleVariable, FeatureGuideCard::tr("Doodle"),
                FeatureGuideCard::tr("Sketch something by hand and send it — it pops up on their "
                                     "screen like a sticky note."),
                FeatureGuideCard::tr("Start a doodle")};
    }
    Q_UNREACHABLE();
}

FeatureGuideCard::FeatureGuideCard(FeatureGuide guide, Action onPrimary, Action onClose,
                                   QWidget *parent)
    : QWidget(parent)
    , onClose_(std::move(onClose))
{
    const auto content = FeatureGuideContent::of(guide);
    const QFont caption = textFont(TextStyle::Caption2);
    // clang-format off
    card_ = vstack(12, {
        vstack(0, {
            symbol(content.symbol, 34)->in(Fill::gradient()),
        })->high(46),
        text(content.title, bold(textFont(TextStyle::Title3))),
        text(content.description, textFont(TextStyle::Callout))
            ->in(Fill::secondary()),
        vstack(0, {
            primary_ = prominentButton(text(content.primary, textFont(TextStyle::Body)),
                                       std::move(onPrimary))
                           ->filling(Qt::Horizontal),
        })->padded({0, 2, 0, 0})->filling(Qt::Horizontal),
        later_ = plainButton(text(tr("Maybe later"), caption)->in(Fill::secondary()), onClose_),
    });
    // clang-format on
    card_->padded(20)->wide(290)->on(
        Background::rounded(cardRadius, Fill::material()).outlined(Fill::violet(0.3)));

    auto *centered = new StackLayout(Qt::Vertical, 0, Qt::AlignCenter);
    setLayout(centered);
    centered->addWidget(card_);
    setAccessibleName(content.title);
    setAccessibleDescription(content.description);
    setFocusProxy(primary_);
    setGeometry(parent->rect());
    parent->installEventFilter(this);
}

bool FeatureGuideCard::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Resize)
        setGeometry(parentWidget()->rect());
    return QWidget::eventFilter(watched, event);
}

bool FeatureGuideCard::event(QEvent *event)
{
    // Escape is this card's before it is the window's.
    if (event->type() == QEvent::ShortcutOverride &&
        static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape) {
        event->accept();
        return true;
    }
    return QWidget::event(event);
}

bool FeatureGuideCard::focusNextPrevChild(bool next)
{
    (primary_->hasFocus() ? later_ : primary_)
        ->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
}

void FeatureGuideCard::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape)
        onClose_();
    else
        QWidget::keyPressEvent(event);
}

bool FeatureGuideCard::isBeside(const QMouseEvent &event) const
{
    const QPoint at = event.position().toPoint();
    return event.button() == Qt::LeftButton && rect().contains(at) &&
           !card_->geometry().contains(at);
}

void FeatureGuideCard::mousePressEvent(QMouseEvent *event)
{
    pressedBeside_ = isBeside(*event);
}

void FeatureGuideCard::mouseReleaseEvent(QMouseEvent *event)
{
    const bool clicked = pressedBeside_ && isBeside(*event);
    pressedBeside_ = false;
    if (clicked)
        onClose_();
}

void FeatureGuideCard::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), QColor::fromRgbF(0, 0, 0, backdropOpacity));
    paintShadow(painter, card_->geometry(), cardRadius, cardShadow);
}

} // namespace kivolo
