#include "feed/beam_bubble.h"

#include "feed/time_ago.h"
#include "style/brand.h"
#include "style/foreign_text.h"
#include "style/shapes.h"
#include "style/text_style.h"

#include <QCoreApplication>
#include <QFontMetricsF>
#include <QPainter>
#include <QPixmapCache>
#include <cmath>

namespace kivolo {

namespace {

constexpr qreal rowSpacing = 6;
constexpr qreal farEdge = 44; // the least distance from the other side of the feed
constexpr qreal emojiSide = 26;
constexpr qreal emojiSize = 16;
constexpr qreal ageSpacing = 3;
constexpr qreal ageSize = 9;
constexpr qreal agePadding = 4;
constexpr QSizeF textPadding(13, 9);
constexpr QSizeF badgePadding(14, 10);
constexpr qreal badgeSpacing = 8;
constexpr qreal badgeLineSpacing = 1;
constexpr qreal badgeSymbolSize = 16;
constexpr double subtitleOpacity = 0.85;
constexpr QSizeF pictureBounds(190, 140);
constexpr qreal pictureRadius = 16;

QFont titleFont()
{
    return bold(textFont(TextStyle::Callout));
}

QFont ageFont()
{
    return systemFont(ageSize);
}

QSizeF padded(const QSizeF &size, const QSizeF &padding)
{
    // Whole points: edges stay sharp.
    return {std::ceil(size.width()) + 2 * padding.width(),
            std::ceil(size.height()) + 2 * padding.height()};
}

} // namespace

BubbleContent BubbleContent::of(const Beam &beam, DoodleLookup::State doodle)
{
    const SymbolName hourglass = SymbolName::Hourglass;
    if (beam.isSealed())
        return {Badge, hourglass, QCoreApplication::translate("BeamBubble", "Time capsule"),
                QCoreApplication::translate("BeamBubble", "opening soon")};
    const QString body = cutAtCharacter(beam.body, mostText);
    if (beam.open_at && !beam.isDoodle())
        return {Badge, hourglass, body,
                QCoreApplication::translate("BeamBubble", "time capsule opened")};
    if (beam.isDoodle() && doodle != DoodleLookup::NoPicture)
        return {Picture, {}, {}, {}};
    if (beam.isBuzz())
        return {Badge, SymbolName::DotRadiowavesLeftAndRight,
                QCoreApplication::translate("BeamBubble", "Buzz"), body};
    return {Text, {}, body, {}};
}

BeamBubble::BeamBubble(const Beam &beam, bool mine, const DoodleLookup &doodle, qreal width,
                       QDeadlineTimer deadline)
    : mine_(mine)
    , width_(width)
    , fromEmoji_(cutAtCharacter(singleLine(beam.from_emoji), 32))
    , createdAt_(beam.created_at)
    , content_(BubbleContent::of(beam, doodle.state))
    , picture_(doodle.image)
    , pictureSize_(doodle.size)
{
    const bool badge = content_.kind == BubbleContent::Badge;
    const TextBlock::Bounds column{.width = textWidth(mine, badge, width)};
    if (content_.kind != BubbleContent::Picture)
        title_.emplace(content_.title, badge ? titleFont() : textFont(TextStyle::Body), column,
                       deadline);
    if (badge)
        subtitle_.emplace(content_.subtitle, textFont(TextStyle::Caption2), column, deadline);
    measure();
}

bool BeamBubble::isComplete() const
{
    return (!title_ || title_->isComplete()) && (!subtitle_ || subtitle_->isComplete());
}

void BeamBubble::layOutMore(QDeadlineTimer deadline)
{
    for (std::optional<TextBlock> *block : {&title_, &subtitle_}) {
        if (!*block || (*block)->isComplete())
            continue;
        (*block)->layOutMore(deadline);
        if (deadline.hasExpired())
            break;
    }
    measure();
}

void BeamBubble::measure()
{
    switch (content_.kind) {
    case BubbleContent::Text:
        size_ = padded({title_->size().width(), title_->expectedHeight()}, textPadding);
        break;
    case BubbleContent::Badge:
        measureBadge();
        break;
    case BubbleContent::Picture:
        measurePicture();
        break;
    }
}

static qreal widestContent(bool mine, qreal width)
{
    const qreal emoji = mine ? 0 : emojiSide + rowSpacing;
    return qMax(1.0, width - emoji - rowSpacing - farEdge);
}

qreal BeamBubble::textWidth(bool mine, bool badge, qreal width)
{
    const qreal symbol = badge ? symbolSide(badgeSymbolSize) + badgeSpacing : 0;
    const qreal padding = 2 * (badge ? badgePadding : textPadding).width();
    return widestContent(mine, width) - padding - symbol;
}

/// Below the top of a title of `titleHeight`. In whole points, or glyphs that are moved to whole
/// pixels would bring the two lines closer together.
static qreal subtitleTop(qreal titleHeight)
{
    return std::ceil(titleHeight) + badgeLineSpacing;
}

void BeamBubble::measureBadge()
{
    const qreal symbol = symbolSide(badgeSymbolSize);
    const QSizeF lines(qMax(title_->size().width(), subtitle_->size().width()),
                       subtitleTop(title_->expectedHeight()) +
                           std::ceil(subtitle_->expectedHeight()));
    size_ =
        padded({symbol + badgeSpacing + lines.width(), qMax(lines.height(), symbol)}, badgePadding);
}

void BeamBubble::measurePicture()
{
    const QSizeF bounds =
        pictureBounds.boundedTo({widestContent(mine_, width_), pictureBounds.height()});
    const QSize picture = picture_.isNull() ? pictureSize_ : picture_.size();
    size_ = picture.isEmpty() ? bounds : QSizeF(picture).scaled(bounds, Qt::KeepAspectRatio);
    size_ = QSizeF(std::round(size_.width()), std::round(size_.height())).expandedTo({1, 1});
}

qreal BeamBubble::ageHeight()
{
    return std::ceil(QFontMetricsF(ageFont()).height());
}

qreal BeamBubble::height() const
{
    return qMax(size_.height() + ageSpacing + ageHeight(), mine_ ? 0 : emojiSide);
}

QRectF BeamBubble::bubble(const QPointF &topLeft) const
{
    const qreal left = mine_ ? width_ - size_.width() : emojiSide + rowSpacing;
    const qreal top = height() - ageHeight() - ageSpacing - size_.height();
    return {topLeft + QPointF(left, top), size_};
}

/// To shape an emoji takes as long as to paint the rest of a row, and a sender can have many in
/// place of one. A circle has few senders.
static QPixmap senderPicture(const QString &emoji, const QColor &color, qreal scale)
{
    const QFont font = emojiFont(systemFont(emojiSize));
    const QString key =
        QStringLiteral("sender %1 %2 %3 %4").arg(emoji, color.name(), font.key()).arg(scale);
    QPixmap picture;
    if (QPixmapCache::find(key, &picture))
        return picture;
    picture = QPixmap((QSizeF(emojiSide, emojiSide) * scale).toSize());
    picture.setDevicePixelRatio(scale);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setFont(font);
    painter.setPen(color);
    painter.drawText(QRectF(0, 0, emojiSide, emojiSide), Qt::AlignCenter | Qt::TextSingleLine,
                     emoji);
    painter.end();
    QPixmapCache::insert(key, picture);
    return picture;
}

/// Pixel on pixel, which keeps it sharp.
static void paintSender(QPainter &painter, const QPointF &topLeft, const QPixmap &picture)
{
    const QTransform device = painter.deviceTransform();
    const QPointF pixel = device.map(topLeft);
    painter.drawPixmap(device.inverted().map(QPointF(pixel.toPoint())), picture);
}

void BeamBubble::paint(QPainter &painter, const QPointF &topLeft, const QRectF &visible,
                       const Palette &colors, qint64 now) const
{
    const QRectF row(topLeft, QSizeF(width_, height()));
    painter.setRenderHint(QPainter::Antialiasing);
    if (!mine_) {
        const QRectF circle(row.left(), row.bottom() - emojiSide, emojiSide, emojiSide);
        painter.setPen(Qt::NoPen);
        painter.setBrush(colors.tint(0.06));
        painter.drawEllipse(circle);
        paintSender(painter, circle.topLeft(),
                    senderPicture(fromEmoji_, colors.primary, deviceScale(painter)));
    }
    const QRectF box = bubble(topLeft);
    painter.save();
    paintContent(painter, box, visible, colors);
    painter.restore();

    const qreal ageLeft = mine_ ? row.left() : box.left();
    const qreal ageTop = box.bottom() + ageSpacing;
    const QRectF age(ageLeft, ageTop, row.right() - ageLeft, row.bottom() - ageTop);
    painter.setFont(ageFont());
    painter.setPen(colors.secondary);
    const int side = mine_ ? Qt::AlignRight : Qt::AlignLeft;
    painter.drawText(age.adjusted(agePadding, 0, -agePadding, 0), side | Qt::AlignVCenter,
                     timeAgo(createdAt_, now));
}

void BeamBubble::paintContent(QPainter &painter, const QRectF &box, const QRectF &visible,
                              const Palette &colors) const
{
    if (content_.kind == BubbleContent::Picture) {
        paintPicture(painter, box, colors);
        return;
    }
    painter.fillPath(continuousRoundedRect(box, cornerRadius),
                     mine_ ? Brand::gradient(box) : QBrush(colors.tint(0.08)));
    const QColor color = mine_ ? QColor(Qt::white) : colors.primary;
    if (content_.kind == BubbleContent::Badge) {
        paintBadge(painter, box, visible, color);
        return;
    }
    const QRectF text = box.adjusted(textPadding.width(), textPadding.height(),
                                     -textPadding.width(), -textPadding.height());
    title_->paint(painter, text.topLeft(), text.width(), color, visible);
}

void BeamBubble::paintBadge(QPainter &painter, const QRectF &box, const QRectF &visible,
                            const QColor &color) const
{
    const qreal side = symbolSide(badgeSymbolSize);
    const qreal left = box.left() + badgePadding.width();
    paintSymbol(painter, *content_.symbol, {left, box.center().y() - side / 2, side, side}, color);

    const qreal column = left + side + badgeSpacing;
    const qreal columnWidth = box.right() - badgePadding.width() - column;
    const qreal below = subtitleTop(title_->size().height());
    const qreal lines = below + std::ceil(subtitle_->size().height());
    const QPointF title(column, box.center().y() - lines / 2);
    title_->paint(painter, title, columnWidth, color, visible);
    QColor faint = color;
    faint.setAlphaF(float(double(color.alphaF()) * subtitleOpacity));
    subtitle_->paint(painter, title + QPointF(0, below), columnWidth, faint, visible);
}

void BeamBubble::paintPicture(QPainter &painter, const QRectF &box, const Palette &colors) const
{
    const QPainterPath shape = continuousRoundedRect(box, pictureRadius);
    if (picture_.isNull())
        painter.fillPath(shape, Qt::white);
    else
        fillWithPicture(painter, shape, box,
                        framedPicture(picture_, box.size(), deviceScale(painter)));
    strokeInside(painter, box, pictureRadius, 1, colors.quaternary);
}

std::optional<QString> BeamBubble::text(const Beam &beam)
{
    const BubbleContent content = BubbleContent::of(beam, DoodleLookup::Pending);
    if (content.kind == BubbleContent::Picture)
        return {};
    // The words on a badge that are not the sender's are of use to nobody, except when they stand
    // for all there is to see.
    return beam.isSealed() ? content.title : cutAtCharacter(beam.body, BubbleContent::mostText);
}

QString BeamBubble::summary(const Beam &beam, bool mine, DoodleLookup::State doodle, qint64 now)
{
    const BubbleContent content = BubbleContent::of(beam, doodle);
    QString text = content.kind == BubbleContent::Picture
                       ? QCoreApplication::translate("BeamBubble", "Doodle")
                       : content.title;
    if (!content.subtitle.isEmpty())
        text += QStringLiteral(", ") + content.subtitle;
    const QString sender =
        mine ? QCoreApplication::translate("BeamBubble", "You") : singleLine(beam.from_handle);
    return QStringLiteral("%1: %2, %3").arg(sender, text, timeAgo(beam.created_at, now));
}

} // namespace kivolo
