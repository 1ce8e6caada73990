#include "overlays/capsule_card.h"

#include "overlays/capsule_card_model.h"
#include "style/avatar.h"
#include "style/brand.h"
#include "style/foreign_text.h"
#include "style/symbols.h"
#include "style/text_style.h"
#include "style/theme.h"

#include <QFontMetricsF>
#include <QPainter>

namespace kivolo {

namespace {

constexpr qreal padding = 12;
constexpr qreal pictureSide = 44;
constexpr qreal columnLeft = padding + pictureSide + 11;
constexpr qreal lineSpacing = 3;
constexpr qreal avatarSize = 18;
constexpr qreal titleLeft = columnLeft + avatarSize + 5;

QFont titleFont()
{
    return bold(textFont(TextStyle::Subheadline));
}

QFont countdownFont()
{
    return monospaced(textFont(TextStyle::Caption));
}

/// The two lines of the text column, centred as one on the card.
struct Lines
{
    QRectF title;
    QRectF countdown;

    explicit Lines(const QRectF &card)
    {
        const qreal titleHeight = qMax(avatarSize, QFontMetricsF(titleFont()).height());
        const qreal countdownHeight = QFontMetricsF(countdownFont()).height();
        const qreal height = titleHeight + lineSpacing + countdownHeight;
        const qreal right = card.width() - padding;
        title = {columnLeft, (card.height() - height) / 2, right - columnLeft, titleHeight};
        countdown = {columnLeft, title.bottom() + lineSpacing, title.width(), countdownHeight};
    }
};

} // namespace

CapsuleCard::CapsuleCard(const Beam &beam, std::shared_ptr<CapsuleCardModel> model)
    : CardSurface({.radius = 16, .lineWidth = 1.5, .gradient = true})
    , model_(std::move(model))
    , handle_(beam.from_handle)
    , title_(tr("%1's time capsule").arg(isolated(singleLine(handle_))))
{
    setFixedSize(sizeHint());
    setAccessibleName(tr("%1's time capsule").arg(singleLine(handle_)));
    connect(model_.get(), &ObservableObject::objectWillChange, this, &CapsuleCard::scheduleRender);
    renderCountdown();
}

CapsuleCard::~CapsuleCard() = default;

QString CapsuleCard::fmt(qint64 seconds)
{
    const qlonglong h = seconds / 3600;
    const qlonglong m = seconds % 3600 / 60;
    const qlonglong s = seconds % 60;
    if (h > 0)
        return QString::asprintf("%lldh %02lldm %02llds", h, m, s);
    if (m > 0)
        return QString::asprintf("%lldm %02llds", m, s);
    return QString::asprintf("%llds", s);
}

void CapsuleCard::scheduleRender()
{
    if (renderScheduled_)
        return;
    renderScheduled_ = true;
    QMetaObject::invokeMethod(this, &CapsuleCard::renderCountdown, Qt::QueuedConnection);
}

void CapsuleCard::renderCountdown()
{
    renderScheduled_ = false;
    const QString countdown = tr("Opens in %1").arg(fmt(model_->remaining));
    if (countdown == countdown_)
        return;
    countdown_ = countdown;
    setAccessibleDescription(countdown_);
    update(Lines(rect()).countdown.toAlignedRect());
}

void CapsuleCard::paintContent(QPainter &painter)
{
    const Lines lines(rect());
    paintIllustration(painter, QStringLiteral("capsule"),
                      {padding, (height() - pictureSide) / 2, pictureSide, pictureSide});
    Avatar(handle_, avatarSize).paint(painter, lines.title.topLeft());

    const QRectF title = lines.title.adjusted(titleLeft - columnLeft, 0, 0, 0);
    painter.setFont(titleFont());
    painter.setPen(Theme::shared().colors().primary);
    painter.drawText(title, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     QFontMetricsF(titleFont()).elidedText(title_, Qt::ElideRight, title.width()));

    painter.setFont(countdownFont());
    painter.setPen(Brand::violet());
    painter.drawText(lines.countdown, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     countdown_);
}

} // namespace kivolo
