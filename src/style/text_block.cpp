#include "style/text_block.h"

#include "style/text_style.h"

#include <QFontMetricsF>
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

/// The toolkit makes emoji smaller than the letters beside them; here they are a little larger.
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

TextBlock::TextBlock(const QString &text, const QFont &font, const Bounds &bounds)
    : font_(font)
    , bounds_(bounds)
{
    const QString shown = cutAtCharacter(text, bounds.length);
    qsizetype start = 0;
    while (start <= shown.size() && size_.height() < bounds.height) {
        qsizetype end = start;
        while (end < shown.size() && !isLineBreak(shown.at(end)))
            ++end;
        appendParagraph(shown.mid(start, end - start));
        const bool crLf =
            end + 1 < shown.size() && shown.at(end) == u'\r' && shown.at(end + 1) == u'\n';
        start = end + (crLf ? 2 : 1);
    }
}

TextBlock::~TextBlock() = default;
TextBlock::TextBlock(TextBlock &&) noexcept = default;
TextBlock &TextBlock::operator=(TextBlock &&) noexcept = default;

/// A layout shapes all of its text before it gives the first line, and an emoji takes it a
/// twentieth of a millisecond. So a long paragraph is laid out in pieces, each of which begins with
/// the line that the piece before could not complete, and those that would not show are never
/// looked at.
void TextBlock::appendParagraph(const QString &text)
{
    if (text.isEmpty()) {
        size_.rheight() += spacingAbove() + QFontMetricsF(font_).height();
        return;
    }
    constexpr qsizetype pieceLength = 256;
    constexpr qsizetype lookAhead = 32; // enough to see whether a character goes on
    const bool rightToLeft = text.isRightToLeft();
    qsizetype start = 0;
    qsizetype length = pieceLength;
    while (start < text.size() && size_.height() < bounds_.height) {
        const QString piece = cutAtCharacter(text.mid(start, length + lookAhead), length);
        const bool last = start + piece.size() == text.size();
        const qsizetype used = appendPiece(piece, rightToLeft, last);
        start += used;
        length = used > 0 ? pieceLength : 2 * length; // none: not even one line was filled
    }
}

qsizetype TextBlock::appendPiece(const QString &text, bool rightToLeft, bool last)
{
    const QFontMetricsF metrics(font_);
    Piece piece{std::make_unique<QTextLayout>(text, font_), 0, size_.height() + spacingAbove(), 0,
                rightToLeft};
    QTextLayout &layout = *piece.layout;
    layout.setCacheEnabled(true);
    layout.setFormats(emojiFormats(text, font_));
    QTextOption option(Qt::AlignLeft | Qt::AlignAbsolute);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    option.setTextDirection(rightToLeft ? Qt::RightToLeft : Qt::LeftToRight);
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

    piece.lineCount = layout.lineCount();
    if (atEnd && !last) {
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

} // namespace kivolo
