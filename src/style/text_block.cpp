#include "style/text_block.h"

#include "style/text_style.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QTextLayout>

namespace kivolo {

static bool isLineBreak(QChar c)
{
    return c == u'\n' || c == u'\r' || c == QChar::LineSeparator || c == QChar::ParagraphSeparator;
}

TextBlock::TextBlock(const QString &text, const QFont &font, const Bounds &bounds)
{
    const QString shown = cutAtCharacter(text, bounds.length);
    const qreal lineHeight = QFontMetricsF(font).height();
    qsizetype start = 0;
    while (start <= shown.size() && size_.height() < bounds.height) {
        qsizetype end = start;
        while (end < shown.size() && !isLineBreak(shown.at(end)))
            ++end;
        append(shown.mid(start, end - start), font, bounds, lineHeight);
        const bool crLf = end + 1 < shown.size() && shown.at(end) == u'\r'
                          && shown.at(end + 1) == u'\n';
        start = end + (crLf ? 2 : 1);
    }
    laidOutLength_ = qMin(laidOutLength_, shown.size());
}

TextBlock::~TextBlock() = default;
TextBlock::TextBlock(TextBlock &&) noexcept = default;
TextBlock &TextBlock::operator=(TextBlock &&) noexcept = default;

void TextBlock::append(const QString &text, const QFont &font, const Bounds &bounds,
                       qreal lineHeight)
{
    Paragraph paragraph;
    paragraph.top = size_.height();
    if (text.isEmpty()) {
        paragraph.height = lineHeight;
    } else {
        paragraph.rightToLeft = text.isRightToLeft();
        paragraph.layout = std::make_unique<QTextLayout>(text, font);
        paragraph.layout->setCacheEnabled(true);
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
            line.setPosition({0, paragraph.height});
            paragraph.height += qMax(line.height(), lineHeight);
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
