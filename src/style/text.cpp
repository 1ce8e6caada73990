#include "style/text.h"

#include "style/foreign_text.h"
#include "style/text_style.h"
#include "style/theme.h"

#include <QEvent>
#include <QFontMetricsF>
#include <QPaintEvent>
#include <QPainter>
#include <cmath>

namespace kivolo {

namespace {

// Longer than any text of the program and any error a server could mean.
constexpr qsizetype mostText = 2000;
constexpr int labelSpacing = 5;
constexpr qreal largestScale = 1.05; // shrinking keeps a picture sharp, enlarging does not
constexpr qreal anyWidth = 100'000;

} // namespace

Text::Text(const QString &text, const QFont &font)
{
    setTextFormat(Qt::PlainText);
    setFont(font);
    replace(text);
}

Text *Text::in(Fill fill)
{
    if (fill_ != fill) {
        fill_ = fill;
        update();
    }
    return this;
}

Text *Text::centered()
{
    alignment_ = TextBlock::Alignment::Center;
    return this;
}

Text *Text::oneLine()
{
    oneLine_ = true;
    replace(text());
    return this;
}

Text *Text::lineSpacing(qreal points)
{
    lineSpacing_ = points;
    paragraphs_.clear();
    return this;
}

void Text::replace(const QString &text)
{
    const QString shown = cutAtCharacter(oneLine_ ? singleLine(text) : text, mostText);
    if (shown == this->text() && !paragraphs_.empty())
        return;
    paragraphs_.clear();
    setText(shown);
    updateGeometry();
    update();
}

TextBlock Text::wrapped(const QString &paragraph, qreal width) const
{
    return {paragraph, font(), {.width = width, .lineSpacing = lineSpacing_}};
}

static qreal longestWord(const QString &text, const QFontMetricsF &metrics)
{
    qreal longest = 0;
    for (qsizetype start = 0; start < text.size();) {
        qsizetype end = start;
        while (end < text.size() && !text.at(end).isSpace())
            ++end;
        longest = std::max(longest, metrics.horizontalAdvance(text.mid(start, end - start)));
        start = end + 1;
    }
    return longest;
}

/// Wrapped into no more lines than `width` calls for, none of which is left with a word alone: in
/// the narrowest column that does it.
TextBlock Text::balanced(const QString &paragraph, qreal width) const
{
    const QFontMetricsF metrics(font());
    TextBlock best = wrapped(paragraph, width);
    const qreal height = best.size().height();
    if (height < 2 * metrics.height())
        return best;
    qreal tooNarrow = longestWord(paragraph, metrics); // it would be broken
    for (qreal wide = best.size().width(); wide - tooNarrow > 1;) {
        const qreal middle = (wide + tooNarrow) / 2;
        TextBlock narrower = wrapped(paragraph, middle);
        if (narrower.size().height() > height) {
            tooNarrow = middle;
        } else {
            wide = middle;
            best = std::move(narrower);
        }
    }
    return best;
}

const std::vector<TextBlock> &Text::paragraphs(qreal width) const
{
    width = std::max<qreal>(1, width);
    if (!paragraphs_.empty() && laidOutWidth_ == width)
        return paragraphs_;
    laidOutWidth_ = width;
    paragraphs_.clear();
    if (oneLine_) {
        const QFontMetricsF metrics(font());
        paragraphs_.push_back(wrapped(metrics.elidedText(text(), Qt::ElideRight, width), anyWidth));
        return paragraphs_;
    }
    for (const QString &paragraph : text().split(u'\n'))
        paragraphs_.push_back(balanced(paragraph, width));
    return paragraphs_;
}

QSizeF Text::sizeOfText(qreal width) const
{
    QSizeF size(0, -lineSpacing_);
    for (const TextBlock &paragraph : paragraphs(width))
        size = {std::max(size.width(), paragraph.size().width()),
                size.height() + lineSpacing_ + paragraph.size().height()};
    return size;
}

int Text::heightForWidth(int width) const
{
    const QMargins margins = contentsMargins();
    return int(std::ceil(sizeOfText(width - padding()).height())) + margins.top() +
           margins.bottom();
}

QSize Text::sizeHint() const
{
    const QSizeF size = sizeOfText(anyWidth);
    const QMargins margins = contentsMargins();
    return QSize(int(std::ceil(size.width())), int(std::ceil(size.height()))).grownBy(margins);
}

int Text::widthWith(const QString &text) const
{
    return int(std::ceil(wrapped(text, anyWidth).size().width())) + padding();
}

QSize Text::minimumSizeHint() const
{
    return {0, oneLine_ ? sizeHint().height() : 0};
}

void Text::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    painter.setOpacity(inkOpacity(*this));
    const QRectF area = contentsRect();
    const QColor color = ink(*this, fill_).color(Theme::shared().colors());
    QPointF at = area.topLeft();
    for (const TextBlock &paragraph : paragraphs(area.width())) {
        paragraph.paint(painter, at, area.width(), color, event->rect(), alignment_);
        at.ry() += paragraph.size().height() + lineSpacing_;
    }
}

void Text::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::FontChange)
        paragraphs_.clear();
    QLabel::changeEvent(event);
}

Symbol::Symbol(SymbolName name, qreal fontSize)
    : name_(name)
    , side_(int(symbolSide(fontSize)))
{}

Symbol *Symbol::in(Fill fill)
{
    if (fill_ != fill) {
        fill_ = fill;
        update();
    }
    return this;
}

void Symbol::replace(SymbolName name)
{
    if (name_ != name) {
        name_ = name;
        update();
    }
}

QSize Symbol::sizeHint() const
{
    return QSize(side_, side_).grownBy(contentsMargins());
}

void Symbol::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setOpacity(inkOpacity(*this));
    const QRectF area = contentsRect();
    paintSymbol(painter, name_, area, ink(*this, fill_).brush(area, Theme::shared().colors()));
}

Label::Label(const QString &text, SymbolName symbol, const QFont &font)
    : Fitted(Qt::Horizontal, 0, Qt::AlignVCenter, {})
    , symbol_(kivolo::symbol(symbol, font.pixelSize()))
    , text_(kivolo::text(text, font)->oneLine())
{
    text_->setContentsMargins(labelSpacing, 0, 0, 0); // goes with the text
    holding({symbol_, text_});
}

Label *Label::in(Fill fill)
{
    symbol_->in(fill);
    text_->in(fill);
    return this;
}

void Label::replace(const QString &text, SymbolName symbol)
{
    text_->replace(text);
    symbol_->replace(symbol);
}

Label *Label::roomFor(const QStringList &texts)
{
    if (roomFor_ != texts) {
        roomFor_ = texts;
        updateGeometry();
    }
    return this;
}

QSize Label::sizeHint() const
{
    const int shown = text_->sizeHint().width();
    int widest = shown;
    for (const QString &each : roomFor_)
        widest = std::max(widest, text_->widthWith(each));
    return Stack::sizeHint() + QSize(widest - shown, 0);
}

Illustration::Illustration(QString name, int height)
    : name_(std::move(name))
    , height_(height)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
}

void Illustration::setScale(qreal scale)
{
    scale_ = scale;
    update();
}

void Illustration::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    if (scale_ == 1) {
        paintIllustration(painter, name_, rect());
        return;
    }
    const QSize pixels = size() * devicePixelRatioF() * largestScale;
    if (moving_.size() != pixels) {
        moving_ = QPixmap(pixels);
        moving_.fill(Qt::transparent);
        QPainter still(&moving_);
        paintIllustration(still, name_, moving_.rect());
    }
    QRectF target(QPointF(), QSizeF(size()) * scale_);
    target.moveCenter(QRectF(rect()).center());
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawPixmap(target, moving_, moving_.rect());
}

Text *text(const QString &text, const QFont &font)
{
    return new Text(text, font);
}

Symbol *symbol(SymbolName name, qreal fontSize)
{
    return new Symbol(name, fontSize);
}

Label *label(const QString &text, SymbolName symbol, const QFont &font)
{
    return new Label(text, symbol, font);
}

Illustration *illustration(const QString &name, int height)
{
    return new Illustration(name, height);
}

} // namespace kivolo
