#include "views/beam_bubble.h"

#include "style/brand.h"
#include "style/shapes.h"
#include "style/symbols.h"
#include "style/text_style.h"
#include "views/time_ago.h"

#include <QCoreApplication>
#include <QFontMetricsF>
#include <QPainter>
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
constexpr qreal bubbleRadius = 17;
constexpr QSizeF textPadding(13, 9);
constexpr QSizeF badgePadding(14, 10);
constexpr qreal badgeSpacing = 8;
constexpr qreal badgeLineSpacing = 1;
constexpr qreal badgeSymbolSize = 16;
constexpr double subtitleOpacity = 0.85;
constexpr QSizeF pictureBounds(190, 140);
constexpr qreal pictureRadius = 16;

// A note may have 10,000 characters, of two code units at most but for the rarest. Beyond that
// nobody reads on, and laying it out would stop the feed.
constexpr qsizetype mostText = 20'000;

QString translated(const char *text)
{
    return QCoreApplication::translate("BeamBubble", text);
}

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
    const QString hourglass = QStringLiteral("hourglass");
    if (beam.isSealed())
        return {Badge, hourglass, translated("Time capsule"), translated("opening soon")};
    if (beam.open_at && !beam.isDoodle())
        return {Badge, hourglass, beam.body, translated("time capsule opened")};
    if (beam.isDoodle() && doodle != DoodleLookup::NoPicture)
        return {Picture, {}, {}, {}};
    if (beam.isBuzz())
        return {Badge, QStringLiteral("dot.radiowaves.left.and.right"), translated("Buzz"),
                beam.body};
    return {Text, {}, beam.body, {}};
}

BeamBubble::BeamBubble(const Beam &beam, bool mine, const DoodleLookup &doodle, qreal width)
    : mine_(mine)
    , width_(width)
    , fromHandle_(singleLine(beam.from_handle))
    , fromEmoji_(cutAtCharacter(singleLine(beam.from_emoji), 32))
    , createdAt_(beam.created_at)
    , content_(BubbleContent::of(beam, doodle.state))
    , picture_(doodle.image)
{
    content_.title = cutAtCharacter(content_.title, mostText);
    content_.subtitle = cutAtCharacter(content_.subtitle, mostText);
    switch (content_.kind) {
    case BubbleContent::Text:
        layOutText();
        break;
    case BubbleContent::Badge:
        layOutBadge();
        break;
    case BubbleContent::Picture:
        layOutPicture();
        break;
    }
}

qreal BeamBubble::widestContent() const
{
    const qreal emoji = mine_ ? 0 : emojiSide + rowSpacing;
    return qMax(1.0, width_ - emoji - rowSpacing - farEdge);
}

void BeamBubble::layOutText()
{
    title_.emplace(content_.title, textFont(TextStyle::Body),
                   TextBlock::Bounds{.width = widestContent() - 2 * textPadding.width()});
    size_ = padded(title_->size(), textPadding);
}

void BeamBubble::layOutBadge()
{
    const qreal symbol = symbolSide(badgeSymbolSize) + badgeSpacing;
    const qreal column = widestContent() - 2 * badgePadding.width() - symbol;
    title_.emplace(content_.title, titleFont(), TextBlock::Bounds{.width = column});
    subtitle_.emplace(content_.subtitle, textFont(TextStyle::Caption2),
                      TextBlock::Bounds{.width = column});
    const QSizeF lines(qMax(title_->size().width(), subtitle_->size().width()),
                       title_->size().height() + badgeLineSpacing + subtitle_->size().height());
    size_ = padded({symbol + lines.width(), qMax(lines.height(), symbolSide(badgeSymbolSize))},
                   badgePadding);
}

void BeamBubble::layOutPicture()
{
    const QSizeF bounds = pictureBounds.boundedTo({widestContent(), pictureBounds.height()});
    size_ =
        picture_.isNull() ? bounds : QSizeF(picture_.size()).scaled(bounds, Qt::KeepAspectRatio);
    size_ = QSizeF(std::round(size_.width()), std::round(size_.height())).expandedTo({1, 1});
}

qreal BeamBubble::height() const
{
    return qMax(size_.height() + ageSpacing + std::ceil(QFontMetricsF(ageFont()).height()),
                mine_ ? 0 : emojiSide);
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
        painter.setFont(emojiFont(systemFont(emojiSize)));
        painter.setPen(colors.primary);
        painter.drawText(circle, Qt::AlignCenter | Qt::TextSingleLine | Qt::TextDontClip,
                         fromEmoji_);
    }
    const QFont ageText = ageFont();
    const qreal ageHeight = std::ceil(QFontMetricsF(ageText).height());
    const qreal left = mine_ ? row.right() - size_.width() : row.left() + emojiSide + rowSpacing;
    const QRectF box(QPointF(left, row.bottom() - ageHeight - ageSpacing - size_.height()), size_);
    painter.save();
    paintContent(painter, box, visible, colors);
    painter.restore();

    const QRectF age(mine_ ? row.left() : left, row.bottom() - ageHeight,
                     mine_ ? width_ : row.right() - left, ageHeight);
    painter.setFont(ageText);
    painter.setPen(colors.secondary);
    painter.drawText(age.adjusted(agePadding, 0, -agePadding, 0),
                     (mine_ ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter,
                     timeAgo(createdAt_, now));
}

void BeamBubble::paintContent(QPainter &painter, const QRectF &box, const QRectF &visible,
                              const Palette &colors) const
{
    if (content_.kind == BubbleContent::Picture) {
        paintPicture(painter, box, colors);
        return;
    }
    painter.fillPath(continuousRoundedRect(box, bubbleRadius),
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
    paintSymbol(painter, content_.symbol, {left, box.center().y() - side / 2, side, side}, color);

    const qreal column = left + side + badgeSpacing;
    const qreal columnWidth = box.right() - badgePadding.width() - column;
    const qreal lines = title_->size().height() + badgeLineSpacing + subtitle_->size().height();
    const QPointF title(column, box.center().y() - lines / 2);
    title_->paint(painter, title, columnWidth, color, visible);
    QColor faint = color;
    faint.setAlphaF(float(double(color.alphaF()) * subtitleOpacity));
    subtitle_->paint(painter, title + QPointF(0, title_->size().height() + badgeLineSpacing),
                     columnWidth, faint, visible);
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

QString BeamBubble::summary(qint64 now) const
{
    QString text = content_.kind == BubbleContent::Picture ? translated("Doodle") : content_.title;
    if (!content_.subtitle.isEmpty())
        text += QStringLiteral(", ") + content_.subtitle;
    const QString sender = mine_ ? translated("You") : fromHandle_;
    return QStringLiteral("%1: %2, %3").arg(sender, text, timeAgo(createdAt_, now));
}

} // namespace kivolo
