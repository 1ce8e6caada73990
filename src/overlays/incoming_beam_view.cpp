#include "overlays/incoming_beam_view.h"

#include "overlays/placement.h"
#include "style/avatar.h"
#include "style/brand.h"
#include "style/foreign_text.h"
#include "style/shapes.h"
#include "style/symbol_button.h"
#include "style/symbols.h"
#include "style/text_style.h"
#include "style/theme.h"

#include <QFontMetricsF>
#include <QPainter>
#include <cmath>

namespace kivolo {

struct IncomingBeamView::Metrics
{
    QSize card;
    qreal padding;
    qreal spacing;
    Outline outline;
    qreal avatar;
    qreal doodleHeight;
    TextStyle name;
    QFont::Weight nameWeight;
    TextStyle text;
    QFont::Weight textWeight;
};

namespace {

constexpr qreal headerSpacing = 7;
constexpr qreal spacerLeast = 8; // between the name and the close button, besides the spacing
constexpr qreal doodleRadius = 8;
constexpr qreal fadeHeight = 16; // of a text that goes on beyond the card
constexpr qreal badgePadding = 8;
constexpr qreal badgePaddingAbove = 3;
constexpr qreal badgeSymbolSpacing = 3;
// Twice what either card holds of the narrowest letters. Shaping more than shows costs the main
// thread time: hostile text takes a hundred times as long as prose.
constexpr qsizetype mostText = 1024;

QFont weighted(TextStyle style, QFont::Weight weight)
{
    QFont result = textFont(style);
    result.setWeight(weight);
    return result;
}

/// The label of a buzz.
class Badge
{
public:
    explicit Badge(QString title)
        : title_(std::move(title))
        , font_(bold(textFont(TextStyle::Caption)))
        , symbol_(symbolSide(font_.pixelSize()))
    {}

    QSizeF size() const
    {
        const QFontMetricsF metrics(font_);
        const qreal content = symbol_ + badgeSymbolSpacing + metrics.horizontalAdvance(title_);
        return {std::ceil(content) + 2 * badgePadding,
                std::ceil(qMax(symbol_, metrics.height())) + 2 * badgePaddingAbove};
    }

    void paint(QPainter &painter, const QRectF &box) const
    {
        painter.fillPath(continuousCapsule(box), Brand::coral());
        QRectF content = box.adjusted(badgePadding, 0, -badgePadding, 0);
        paintSymbol(painter, SymbolName::DotRadiowavesLeftAndRight,
                    {content.x(), box.center().y() - symbol_ / 2, symbol_, symbol_}, Qt::white);
        content.setLeft(content.left() + symbol_ + badgeSymbolSpacing);
        painter.setFont(font_);
        painter.setPen(Qt::white);
        painter.drawText(content, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, title_);
    }

private:
    QString title_;
    QFont font_;
    qreal symbol_;
};

} // namespace

const IncomingBeamView::Metrics &IncomingBeamView::metrics(bool shake)
{
    static const Metrics popup{
        .card = placement::popupSize,
        .padding = 14,
        .spacing = 8,
        .outline = {.radius = 16, .lineWidth = 1, .gradient = false},
        .avatar = 26,
        .doodleHeight = 92,
        .name = TextStyle::Headline,
        .nameWeight = QFont::DemiBold,
        .text = TextStyle::Title3,
        .textWeight = QFont::Normal,
    };
    static const Metrics buzz{
        .card = placement::buzzSize,
        .padding = 22,
        .spacing = 12,
        .outline = {.radius = 22, .lineWidth = 2.5, .gradient = true},
        .avatar = 30,
        .doodleHeight = 110,
        .name = TextStyle::Title3,
        .nameWeight = QFont::Bold,
        .text = TextStyle::LargeTitle,
        .textWeight = QFont::Bold,
    };
    return shake ? buzz : popup;
}

IncomingBeamView::IncomingBeamView(const Beam &beam, bool shake, Action onClose)
    : CardSurface(metrics(shake).outline)
    , metrics_(metrics(shake))
    , shake_(shake)
    , handle_(beam.from_handle)
    , body_(beam.body)
    , closeButton_(new SymbolButton(SymbolName::XmarkCircleFill, 13, tr("Close")))
{
    setAccessibleName(singleLine(handle_));
    closeButton_->setParent(this);
    connect(closeButton_, &QAbstractButton::clicked, this, [close = std::move(onClose)] {
        const Action action = close; // the card, and with it this function, may go meanwhile
        if (action)
            action();
    });
    resize(metrics_.card);
    if (beam.isDoodle())
        decodeDoodle();
    else
        showText();
}

IncomingBeamView::~IncomingBeamView() = default;

QSize IncomingBeamView::sizeHint() const
{
    return metrics_.card;
}

void IncomingBeamView::decodeDoodle()
{
    decoding_ = true;
    connect(&decoder_, &QFutureWatcherBase::finished, this, [this] {
        decoding_ = false;
        doodle_ = decoder_.result();
        if (doodle_) {
            body_.clear();
            setAccessibleDescription(tr("Doodle"));
        } else {
            showText();
        }
        update();
        Q_EMIT contentReady();
    });
    // Sharp also on another screen, to which the card may be dragged.
    constexpr int mostScale = 2;
    const QSizeF frame(metrics_.card.width() - 2 * metrics_.padding, metrics_.doodleHeight);
    decoder_.setFuture(decodeDoodleLater(body_, (frame * mostScale).toSize()));
}

void IncomingBeamView::showText()
{
    body_ = cutAtCharacter(body_, mostText);
    setAccessibleDescription(body_);
    layOutText();
}

void IncomingBeamView::layOutText()
{
    const QRectF content = contentRect();
    textLaidOutFor_ = size();
    text_.emplace(body_, weighted(metrics_.text, metrics_.textWeight),
                  TextBlock::Bounds{.width = content.width(),
                                    .height = height() - content.top(),
                                    .length = mostText});
}

void IncomingBeamView::resizeEvent(QResizeEvent *)
{
    const QRectF header = headerRect();
    closeButton_->moveSymbolTo(
        {header.right() - closeButton_->side(), header.center().y() - closeButton_->side() / 2});
    // The first event only tells the size that the card has been made in.
    if (text_ && textLaidOutFor_ != size())
        layOutText();
}

QRectF IncomingBeamView::headerRect() const
{
    const qreal padding = metrics_.padding;
    return {padding, padding, width() - 2 * padding, metrics_.avatar};
}

QRectF IncomingBeamView::contentRect() const
{
    const QRectF header = headerRect();
    const qreal top = header.bottom() + metrics_.spacing;
    return {header.left(), top, header.width(), height() - metrics_.padding - top};
}

void IncomingBeamView::paintContent(QPainter &painter)
{
    paintHeader(painter);
    if (doodle_)
        paintDoodle(painter);
    else if (text_)
        paintText(painter);
}

void IncomingBeamView::paintHeader(QPainter &painter)
{
    const QRectF header = headerRect();
    Avatar(handle_, metrics_.avatar).paint(painter, header.topLeft());

    const Badge badge(tr("Buzz"));
    const QSizeF badgeSize = shake_ ? badge.size() : QSizeF();
    const qreal left = header.left() + metrics_.avatar + headerSpacing;
    qreal right =
        header.right() - closeButton_->side() - headerSpacing - spacerLeast - headerSpacing;
    if (shake_)
        right -= badgeSize.width() + headerSpacing;

    const QFont nameFont = weighted(metrics_.name, metrics_.nameWeight);
    const QFontMetricsF nameMetrics(nameFont);
    const QString name =
        nameMetrics.elidedText(isolated(singleLine(handle_)), Qt::ElideRight, right - left);
    painter.setFont(nameFont);
    painter.setPen(Theme::shared().colors().primary);
    painter.drawText(QRectF(left, header.top(), right - left, header.height()),
                     Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, name);
    if (!shake_)
        return;
    const qreal nameEnd = left + nameMetrics.horizontalAdvance(name);
    badge.paint(painter,
                {QPointF(nameEnd + headerSpacing, header.center().y() - badgeSize.height() / 2),
                 badgeSize});
}

void IncomingBeamView::paintText(QPainter &painter)
{
    const QRectF content = contentRect();
    const QColor color = Theme::shared().colors().primary;
    const QRectF visible = QRectF(rect()).adjusted(0, 0, 0, -metrics_.outline.lineWidth);
    if (content.top() + text_->size().height() <= visible.bottom())
        text_->paint(painter, content.topLeft(), content.width(), color, visible);
    else
        text_->paintFadingOut(painter, content.topLeft(), content.width(), color, visible,
                              fadeHeight);
}

void IncomingBeamView::paintDoodle(QPainter &painter)
{
    QRectF frame = contentRect();
    frame.setHeight(qMin(frame.height(), metrics_.doodleHeight));
    const qreal scale = deviceScale(painter);
    if (doodleFrame_.size() != (frame.size() * scale).toSize())
        doodleFrame_ = framedPicture(doodle_->image, frame.size(), scale);
    fillWithPicture(painter, continuousRoundedRect(frame, doodleRadius), frame, doodleFrame_);
}

} // namespace kivolo
