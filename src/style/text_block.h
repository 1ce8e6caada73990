// A text of several lines, laid out once.
#pragma once

#include <QColor>
#include <QDeadlineTimer>
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
        /// Points between one line and the next, beyond the font's own.
        qreal lineSpacing = 0;
    };
    enum class Alignment { Leading, Center };

    /// Lays the text out, or as much of it as can be done by `deadline`.
    TextBlock(const QString &text, const QFont &font, const Bounds &bounds,
              QDeadlineTimer deadline = QDeadlineTimer(QDeadlineTimer::Forever));
    ~TextBlock();
    TextBlock(TextBlock &&) noexcept;
    TextBlock &operator=(TextBlock &&) noexcept;

    /// Whether all that the bounds allow has been laid out.
    bool isComplete() const { return next_ > text_.size() || size_.height() >= bounds_.height; }
    /// Goes on where `deadline` stopped it before: with one piece, which takes some milliseconds at
    /// most, and with more of them if there is time.
    void layOutMore(QDeadlineTimer deadline);

    /// As wide as the longest line, as high as all lines.
    QSizeF size() const { return size_; }
    /// The height of the complete block, judged by what is laid out of it.
    qreal expectedHeight() const;
    qsizetype laidOutLength() const { return laidOutLength_; }

    /// Paints the lines that meet `visible` (in the painter's coordinates) into a column of
    /// `width`. Leading lines that run from right to left end at its right edge.
    void paint(QPainter &painter, const QPointF &topLeft, qreal width, const QColor &color,
               const QRectF &visible, Alignment alignment = Alignment::Leading) const;
    /// The same for text that goes on below `visible`: its last `height` points there fade out.
    void paintFadingOut(QPainter &painter, const QPointF &topLeft, qreal width, const QColor &color,
                        const QRectF &visible, qreal height) const;

private:
    struct Piece
    {
        std::unique_ptr<QTextLayout> layout;
        int lineCount = 0; // of the layout's, from its first
        qreal top = 0;
        qreal height = 0;
        bool rightToLeft = false;
    };
    void beginParagraph(qsizetype start);
    void appendNext();
    QString nextPiece() const;
    qreal spacingAbove() const { return size_.height() > 0 ? bounds_.lineSpacing : 0; }
    /// Returns how much of `text` its lines hold. The last of them is left out unless `last`.
    qsizetype appendPiece(const QString &text, bool last);

    QFont font_;
    Bounds bounds_;
    QString text_;
    qsizetype next_ = 0; // where laying out goes on; beyond the text when all of it is done
    qsizetype paragraphEnd_ = 0;
    bool rightToLeft_ = false;  // the paragraph
    qsizetype pieceEffort_ = 0; // for the next piece, see nextPiece()
    std::vector<Piece> pieces_;
    QSizeF size_{0, 0};
    qsizetype laidOutLength_ = 0;
};

} // namespace kivolo
