// A row of the feed.
#pragma once

#include "api/records.h"
#include "doodle/doodle_cache.h"
#include "style/palette.h"
#include "style/text_block.h"

#include <optional>

class QPainter;

namespace kivolo {

/// What a row shows of its beam.
struct BubbleContent
{
    enum Kind { Text, Badge, Picture };
    Kind kind = Text;
    QString symbol;   ///< Of a badge.
    QString title;    ///< Of a badge; or the text.
    QString subtitle; ///< Of a badge.

    /// The choice for `beam`, whose doodle, if it is one, turned out to be `doodle`. While that is
    /// not known yet, it counts as a picture: a raw data URL must not flash by.
    static BubbleContent of(const Beam &beam, DoodleLookup::State doodle);

    bool operator==(const BubbleContent &) const = default;
};

/// A value that measures and paints itself, so that a long feed costs no widgets. One's own beams
/// stand on the right in the brand's gradient, those of others on the left with their emoji.
///
/// Laid out once, for one width; throw it away when the width or the font changes. Main thread
/// only.
class BeamBubble
{
public:
    /// A row of `width` points. `doodle` is asked for only if the beam is one.
    BeamBubble(const Beam &beam, bool mine, const DoodleLookup &doodle, qreal width);

    qreal height() const;

    /// Paints into a row at `topLeft`, as far as it meets `visible`. `now`, in seconds since 1970,
    /// is what the age is told by.
    void paint(QPainter &painter, const QPointF &topLeft, const QRectF &visible,
               const Palette &colors, qint64 now) const;

    /// The row in words, for assistive technology.
    QString summary(qint64 now) const;

private:
    void layOutText();
    void layOutBadge();
    void layOutPicture();
    void paintContent(QPainter &painter, const QRectF &box, const QRectF &visible,
                      const Palette &colors) const;
    void paintBadge(QPainter &painter, const QRectF &box, const QRectF &visible,
                    const QColor &color) const;
    void paintPicture(QPainter &painter, const QRectF &box, const Palette &colors) const;
    qreal widestContent() const;

    bool mine_;
    qreal width_;
    QString fromHandle_;
    QString fromEmoji_;
    qint64 createdAt_;
    BubbleContent content_;
    QImage picture_;
    std::optional<TextBlock> title_; // or the text
    std::optional<TextBlock> subtitle_;
    QSizeF size_; // of the content
};

} // namespace kivolo
