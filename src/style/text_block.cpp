#include "style/text_block.h"

#include "style/foreign_text.h"
#include "style/shapes.h"
#include "style/text_style.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QRawFont>
#include <QTextLayout>
#include <optional>

namespace kivolo {

static bool isLineBreak(QChar c)
{
    return c == u'\n' || c == u'\r' || c == QChar::LineSeparator || c == QChar::ParagraphSeparator;
}

/// Joins emoji to one, or chooses their colour, skin or presentation.
static bool isEmojiModifier(char32_t c)
{
    return c == 0x200D || c == 0xFE0F || c == 0x20E3 || (c >= 0xE0020 && c <= 0xE007F);
}

/// Tells emoji from letters in text of one font.
class EmojiFinder
{
public:
    explicit EmojiFinder(const QFont &font)
        : font_(font)
    {}

    bool isEmoji(char32_t c)
    {
        if (c >= 0x1F000 && c <= 0x1FAFF)
            return true;
        // Older symbols are emoji only where the text's own font has no letter-like form of them.
        if (c < 0x2300 || c > 0x2BFF)
            return false;
        if (!own_)
            own_ = QRawFont::fromFont(font_);
        return !own_->supportsCharacter(c);
    }

private:
    QFont font_;
    std::optional<QRawFont> own_; // asked for rarely, and not cheap
};

/// Qt makes emoji smaller than the letters beside them; here they are a little larger.
static QList<QTextLayout::FormatRange> emojiFormats(const QString &text, const QFont &font)
{
    QList<QTextLayout::FormatRange> ranges;
    EmojiFinder finder(font);
    int start = 0;
    for (const uint c : text.toUcs4()) {
        const int length = QChar::requiresSurrogates(c) ? 2 : 1;
        QTextLayout::FormatRange *last = ranges.isEmpty() ? nullptr : &ranges.last();
        const bool continues = last && last->start + last->length == start;
        if (continues && (isEmojiModifier(c) || finder.isEmoji(c))) {
            last->length += length;
        } else if (finder.isEmoji(c)) {
            QTextCharFormat format;
            format.setFont(emojiFont(font));
            ranges.append({start, length, format});
        }
        start += length;
    }
    return ranges;
}

/// What shaping a character takes, a letter being one. Qt decodes the picture of an emoji
/// each time, which takes it a hundred times as long; the factor is less because what matters is
/// that neither sort of piece takes long.
static qsizetype shapingEffort(QChar c)
{
    constexpr qsizetype emoji = 8;
    const bool high = c >= QChar(0xD83C) && c <= QChar(0xD83E); // of U+1F000 to U+1FBFF
    return high || (c >= QChar(0x2300) && c <= QChar(0x2BFF)) ? emoji : 1;
}

/// The first time that an emoji is painted, its picture is scaled, which takes as long again as
/// shaping it. Done piece by piece, that does not add up to a long time when a page is shown.
static void scaleEmoji(const QTextLayout &layout)
{
    QImage nowhere(1, 1, QImage::Format_ARGB32_Premultiplied);
    nowhere.setDevicePixelRatio(qGuiApp->devicePixelRatio());
    QPainter painter(&nowhere);
    layout.draw(&painter, {});
}

TextBlock::TextBlock(const QString &text, const QFont &font, const Bounds &bounds,
                     QDeadlineTimer deadline)
    : font_(font)
    , bounds_(bounds)
    , text_(cutAtCharacter(text, bounds.length))
{
    beginParagraph(0);
    layOutMore(deadline);
}

TextBlock::~TextBlock() = default;
TextBlock::TextBlock(TextBlock &&) noexcept = default;
TextBlock &TextBlock::operator=(TextBlock &&) noexcept = default;

void TextBlock::layOutMore(QDeadlineTimer deadline)
{
    while (!isComplete()) {
        appendNext();
        if (deadline.hasExpired())
            return;
    }
}

qreal TextBlock::expectedHeight() const
{
    if (isComplete() || next_ == 0)
        return size_.height();
    return qMin(size_.height() * qreal(text_.size()) / qreal(next_), bounds_.height);
}

/// The least effort for a piece, and what fills a line of emoji, which are wider than their font is
/// high.
static qsizetype leastEffort(qreal width, const QFont &font)
{
    return qMax(qsizetype(256), qsizetype(8 * width / qMax(1, font.pixelSize())));
}

void TextBlock::beginParagraph(qsizetype start)
{
    next_ = start;
    paragraphEnd_ = start;
    while (paragraphEnd_ < text_.size() && !isLineBreak(text_.at(paragraphEnd_)))
        ++paragraphEnd_;
    rightToLeft_ = start < paragraphEnd_ &&
                   QStringView(text_).mid(start, paragraphEnd_ - start).isRightToLeft();
    pieceEffort_ = leastEffort(bounds_.width, font_);
}

/// A layout shapes all of its text before it gives the first line. So a long paragraph is laid out
/// in pieces, each of which begins with the line that the piece before could not complete, and
/// those that would not show are never looked at.
void TextBlock::appendNext()
{
    if (next_ == paragraphEnd_) {
        size_.rheight() += spacingAbove() + QFontMetricsF(font_).height();
    } else {
        const QString piece = nextPiece();
        const qsizetype used = appendPiece(piece, next_ + piece.size() == paragraphEnd_);
        next_ += used;
        // None used: not even one line was filled.
        pieceEffort_ = used > 0 ? leastEffort(bounds_.width, font_) : 2 * pieceEffort_;
        if (next_ < paragraphEnd_)
            return;
    }
    const bool crLf = paragraphEnd_ + 1 < text_.size() && text_.at(paragraphEnd_) == u'\r' &&
                      text_.at(paragraphEnd_ + 1) == u'\n';
    beginParagraph(paragraphEnd_ + (crLf ? 2 : 1));
}

QString TextBlock::nextPiece() const
{
    constexpr qsizetype lookAhead = 32; // enough to see whether a character goes on
    qsizetype end = next_;
    for (qsizetype effort = 0; end < paragraphEnd_ && effort < pieceEffort_; ++end)
        effort += shapingEffort(text_.at(end));
    const qsizetype length = end - next_;
    return cutAtCharacter(text_.mid(next_, qMin(length + lookAhead, paragraphEnd_ - next_)),
                          length);
}

qsizetype TextBlock::appendPiece(const QString &text, bool last)
{
    const QFontMetricsF metrics(font_);
    Piece piece{std::make_unique<QTextLayout>(text, font_), 0, size_.height() + spacingAbove(), 0,
                rightToLeft_};
    QTextLayout &layout = *piece.layout;
    layout.setCacheEnabled(true);
    layout.setFormats(emojiFormats(text, font_));
    QTextOption option(Qt::AlignLeft | Qt::AlignAbsolute);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    option.setTextDirection(rightToLeft_ ? Qt::RightToLeft : Qt::LeftToRight);
    layout.setTextOption(option);

    qreal lineHeight = 0;
    bool atEnd = false;
    layout.beginLayout();
    while (!atEnd && piece.top + piece.height < bounds_.height) {
        QTextLine line = layout.createLine();
        atEnd = !line.isValid();
        if (atEnd)
            break;
        line.setLineWidth(bounds_.width);
        // An emoji or a letter of another font does not push the lines apart; a whole script that
        // needs the room does.
        const bool fits = line.height() <= metrics.height() * 1.4;
        const qreal above = fits ? line.ascent() - metrics.ascent() : 0;
        const qreal gap = piece.height > 0 ? bounds_.lineSpacing : 0;
        line.setPosition({0, piece.height + gap - above});
        lineHeight = gap + (fits ? metrics.height() : line.height());
        piece.height += lineHeight;
    }
    layout.endLayout();
    if (!layout.formats().isEmpty())
        scaleEmoji(layout);

    piece.lineCount = layout.lineCount();
    // Emoji can be joined to one endless character, which nothing breaks: it stays cut as it is.
    const bool overfull =
        piece.lineCount == 1 && layout.lineAt(0).naturalTextWidth() >= bounds_.width;
    if (atEnd && !last && !overfull) {
        --piece.lineCount;
        piece.height -= lineHeight;
    }
    if (piece.lineCount == 0)
        return 0;
    for (int i = 0; i < piece.lineCount; ++i)
        size_.setWidth(
            qMax(size_.width(), qMin(layout.lineAt(i).naturalTextWidth(), bounds_.width)));
    size_.setHeight(piece.top + piece.height);
    const QTextLine end = layout.lineAt(piece.lineCount - 1);
    const qsizetype used = end.textStart() + end.textLength();
    laidOutLength_ += used;
    pieces_.push_back(std::move(piece));
    return used;
}

void TextBlock::paint(QPainter &painter, const QPointF &topLeft, qreal width, const QColor &color,
                      const QRectF &visible, Alignment alignment) const
{
    painter.setPen(color);
    for (const Piece &piece : pieces_) {
        const QPointF origin = topLeft + QPointF(0, piece.top);
        if (origin.y() + piece.height < visible.top())
            continue;
        if (origin.y() > visible.bottom())
            break;
        for (int i = 0; i < piece.lineCount; ++i) {
            const QTextLine line = piece.layout->lineAt(i);
            const qreal top = origin.y() + line.y();
            if (top + line.height() < visible.top())
                continue;
            if (top > visible.bottom())
                break;
            const qreal rest = width - line.naturalTextWidth();
            const qreal indent = alignment == Alignment::Center ? rest / 2
                                 : piece.rightToLeft            ? rest
                                                                : 0;
            line.draw(&painter, origin + QPointF(indent, 0));
        }
    }
}

// The lines that fade are painted by themselves, because emoji take no notice of a pen's colour.
void TextBlock::paintFadingOut(QPainter &painter, const QPointF &topLeft, qreal width,
                               const QColor &color, const QRectF &visible, qreal height) const
{
    const PixelFrame strip =
        PixelFrame::nearest(painter, visible.adjusted(0, visible.height() - height, 0, 0));
    QImage lines(strip.pixels, QImage::Format_ARGB32_Premultiplied);
    lines.fill(Qt::transparent);
    {
        QPainter fading(&lines);
        fading.setRenderHints(painter.renderHints());
        fading.setTransform(strip.toPicture());
        paint(fading, topLeft, width, color, strip.frame);
        QLinearGradient gradient(strip.frame.topLeft(), strip.frame.bottomLeft());
        gradient.setColorAt(0, Qt::black);
        gradient.setColorAt(1, Qt::transparent);
        fading.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        fading.fillRect(strip.frame, gradient);
    }
    painter.save();
    painter.setClipRect(visible.adjusted(0, 0, 0, strip.frame.top() - visible.bottom()),
                        Qt::IntersectClip);
    paint(painter, topLeft, width, color, visible);
    painter.restore();
    painter.drawImage(strip.frame, lines);
}

} // namespace kivolo
