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
{
    const QString shown = cutAtCharacter(text, bounds.length);
    qsizetype start = 0;
    while (start <= shown.size() && size_.height() < bounds.height) {
        qsizetype end = start;
        while (end < shown.size() && !isLineBreak(shown.at(end)))
            ++end;
        append(shown.mid(start, end - start), font, bounds);
        const bool crLf =
            end + 1 < shown.size() && shown.at(end) == u'\r' && shown.at(end + 1) == u'\n';
        start = end + (crLf ? 2 : 1);
    }
    laidOutLength_ = qMin(laidOutLength_, shown.size());
}

TextBlock::~TextBlock() = default;
TextBlock::TextBlock(TextBlock &&) noexcept = default;
TextBlock &TextBlock::operator=(TextBlock &&) noexcept = default;

void TextBlock::append(const QString &text, const QFont &font, const Bounds &bounds)
{
    const QFontMetricsF metrics(font);
    const qreal ascent = metrics.ascent();
    const qreal lineHeight = metrics.height();
    Paragraph paragraph;
    paragraph.top = size_.height();
    if (text.isEmpty()) {
        paragraph.height = lineHeight;
    } else {
        paragraph.rightToLeft = text.isRightToLeft();
        paragraph.layout = std::make_unique<QTextLayout>(text, font);
        paragraph.layout->setCacheEnabled(true);
        paragraph.layout->setFormats(emojiFormats(text, font));
        QTextOption option(Qt::AlignLeft | Qt::AlignAbsolute);
        option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        option.setTextDirection(paragraph.rightToLeft ? Qt::RightToLeft : Qt::LeftToRight);
        paragraph.layout->setTextOption(option);
        paragraph.layout->beginLayout();
        while (paragraph.top + paragraph.height < bounds.height) {
            QTextLine line = paragraph.layout->createLine();
            if (!line.isValid())
                break;
            line.setLineWidth(bounds.width);
            // An emoji or a letter of another font does not push the lines apart; a whole script
            // that needs the room does.
            const bool fits = line.height() <= lineHeight * 1.4;
            const qreal above = fits ? line.ascent() - ascent : 0;
            line.setPosition({0, paragraph.height - above});
            paragraph.height += fits ? lineHeight : line.height();
            size_.setWidth(qMax(size_.width(), qMin(line.naturalTextWidth(), bounds.width)));
            laidOutLength_ += line.textLength();
        }
        paragraph.layout->endLayout();
    }
    size_.setHeight(size_.height() + paragraph.height);
    paragraphs_.push_back(std::move(paragraph));
}

void TextBlock::paint(QPainter &painter, const QPointF &topLeft, qreal width, const QColor &color,
                      const QRectF &visible) const
{
    painter.setPen(color);
    for (const Paragraph &paragraph : paragraphs_) {
        const QPointF origin = topLeft + QPointF(0, paragraph.top);
        if (!paragraph.layout || origin.y() + paragraph.height < visible.top())
            continue;
        if (origin.y() > visible.bottom())
            break;
        for (int i = 0; i < paragraph.layout->lineCount(); ++i) {
            const QTextLine line = paragraph.layout->lineAt(i);
            const qreal top = origin.y() + line.y();
            if (top + line.height() < visible.top())
                continue;
            if (top > visible.bottom())
                break;
            const qreal indent = paragraph.rightToLeft ? width - line.naturalTextWidth() : 0;
            line.draw(&painter, origin + QPointF(indent, 0));
        }
    }
}

} // namespace kivolo
