// A text of several lines, laid out once.
#pragma once

#include <QColor>
#include <QFont>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <limits>
#include <memory>
#include <vector>

class QPainter;
class QTextLayout;

namespace kivolo {

/// Plain text, wrapped, each paragraph in its own writing direction. Text comes from other people's
/// machines: it is never taken for markup, and no more of it is laid out than the bounds allow.
/// Movable, main thread only.
class TextBlock
{
public:
    struct Bounds
    {
        qreal width;
        /// Laying out ends with the first line that begins at or below this height.
        qreal height = std::numeric_limits<qreal>::infinity();
        /// UTF-16 code units; the rest of the text is left out.
        qsizetype length = std::numeric_limits<qsizetype>::max();
    };

    TextBlock(const QString &text, const QFont &font, const Bounds &bounds);
    ~TextBlock();
    TextBlock(TextBlock &&) noexcept;
    TextBlock &operator=(TextBlock &&) noexcept;

    /// As wide as the longest line, as high as all lines.
    QSizeF size() const { return size_; }
    qsizetype laidOutLength() const { return laidOutLength_; }

    /// Paints the lines that meet `visible` (in the painter's coordinates). Right-to-left lines end
    /// at `topLeft.x() + width`.
    void paint(QPainter &painter, const QPointF &topLeft, qreal width, const QColor &color,
               const QRectF &visible) const;

private:
    struct Paragraph
    {
        std::unique_ptr<QTextLayout> layout; // none: an empty line
        qreal top = 0;
        qreal height = 0;
        bool rightToLeft = false;
    };
    void append(const QString &text, const QFont &font, const Bounds &bounds);

    std::vector<Paragraph> paragraphs_;
    QSizeF size_{0, 0};
    qsizetype laidOutLength_ = 0;
};

} // namespace kivolo
