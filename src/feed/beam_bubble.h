// A row of the feed.
#pragma once

#include "api/records.h"
#include "feed/doodle_cache.h"
#include "style/palette.h"
#include "style/symbols.h"
#include "style/text_block.h"

#include <optional>

class QPainter;

namespace kivolo {

/// What a row shows of its beam.
struct BubbleContent
{
    enum Kind { Text, Badge, Picture };
    Kind kind = Text;
    std::optional<SymbolName> symbol; ///< Of a badge.
    QString title;                    ///< Of a badge; or the text.
    QString subtitle;                 ///< Of a badge.

    /// UTF-16 code units of a text that are shown. A note may have 10,000 characters, of two units
    /// at most but for the rarest; beyond that nobody reads on.
    static constexpr qsizetype mostText = 20'000;

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
    /// A row of `width` points. `doodle` is asked for only if the beam is one. What is not laid out
    /// by `deadline` is left to layOutMore().
    BeamBubble(const Beam &beam, bool mine, const DoodleLookup &doodle, qreal width,
               QDeadlineTimer deadline = QDeadlineTimer(QDeadlineTimer::Forever));

    /// Whether height() is final and paint() paints all there is.
    bool isComplete() const;
    /// Goes on where `deadline` stopped it before, by one step of some milliseconds at least.
    void layOutMore(QDeadlineTimer deadline);

    /// While the row is not complete: judged by what is laid out of it.
    qreal height() const;
    /// Of the age, at the bottom of every row.
    static qreal ageHeight();
    /// Where the bubble is, or the picture, in a row at `topLeft`.
    QRectF bubble(const QPointF &topLeft) const;
    static constexpr qreal cornerRadius = 17; ///< Of the bubble.
    /// What a text, or one on a badge, has at most in a row of `width`.
    static qreal textWidth(bool mine, bool badge, qreal width);

    /// Paints into a row at `topLeft`, as far as it meets `visible`. `now`, in seconds since 1970,
    /// is what the age is told by.
    void paint(QPainter &painter, const QPointF &topLeft, const QRectF &visible,
               const Palette &colors, qint64 now) const;

    /// The text of the row, as a member would copy it. A picture has none.
    static std::optional<QString> text(const Beam &beam);
    /// The row in words, for assistive technology. Lays nothing out.
    static QString summary(const Beam &beam, bool mine, DoodleLookup::State doodle, qint64 now);

private:
    void measure();
    void measureBadge();
    void measurePicture();
    void paintContent(QPainter &painter, const QRectF &box, const QRectF &visible,
                      const Palette &colors) const;
    void paintBadge(QPainter &painter, const QRectF &box, const QRectF &visible,
                    const QColor &color) const;
    void paintPicture(QPainter &painter, const QRectF &box, const Palette &colors) const;

    bool mine_;
    qreal width_;
    QString fromEmoji_;
    qint64 createdAt_;
    BubbleContent content_;
    QImage picture_;
    QSize pictureSize_;
    std::optional<TextBlock> title_; // or the text
    std::optional<TextBlock> subtitle_;
    QSizeF size_; // of the content
};

} // namespace kivolo
