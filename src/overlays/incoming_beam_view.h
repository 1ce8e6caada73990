// The card of a beam that has just arrived.
#pragma once

#include "api/records.h"
#include "doodle/doodle_url.h"
#include "overlays/card_surface.h"
#include "style/text_block.h"

#include <QFutureWatcher>
#include <functional>
#include <optional>

namespace kivolo {

class SymbolButton;

/// Who sent the beam, a close button, and the beam itself: its text, or its doodle. Fills the panel
/// it is put into. A text that has more lines than the card has room for fades out at the lower
/// edge.
///
/// A doodle is decoded on the thread pool, because one of the largest size takes longer than a
/// frame; until then the place of the content is empty, and never shows the raw data URL of a
/// picture. What does not decode is shown as text.
class IncomingBeamView final : public CardSurface
{
    Q_OBJECT
public:
    using Action = std::function<void()>;

    /// `shake` makes it the large card with the "Buzz" badge. `onClose` is called once per click of
    /// the close button; it may destroy the card.
    IncomingBeamView(const Beam &beam, bool shake, Action onClose);
    ~IncomingBeamView() override;

    /// False while a doodle is being decoded.
    bool isContentReady() const { return !decoding_; }
    /// How much of the text has been laid out, in UTF-16 code units.
    qsizetype laidOutLength() const { return text_ ? text_->laidOutLength() : 0; }

    QSize sizeHint() const override;

Q_SIGNALS:
    /// The doodle has been decoded, or has turned out to be text.
    void contentReady();

protected:
    void paintContent(QPainter &painter) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    struct Metrics;
    static const Metrics &metrics(bool shake);
    void decodeDoodle();
    void showText();
    void layOutText();
    QRectF headerRect() const;
    QRectF contentRect() const;
    void paintHeader(QPainter &painter);
    void paintText(QPainter &painter);
    void paintDoodle(QPainter &painter);

    const Metrics &metrics_;
    bool shake_;
    QString handle_;
    QString body_;
    SymbolButton *closeButton_;
    bool decoding_ = false;
    QFutureWatcher<std::optional<Doodle>> decoder_;
    std::optional<Doodle> doodle_;
    QImage doodleFrame_; // the doodle on white, in the resolution it was last painted in
    std::optional<TextBlock> text_;
    QSize textLaidOutFor_;
};

} // namespace kivolo
