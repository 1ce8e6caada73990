#include "views/composer.h"

#include "platform/foundation/main_queue.h"
#include "platform/foundation/task.h"
#include "style/button.h"
#include "style/field.h"
#include "style/text_style.h"

#include <QPointer>

namespace kivolo {

namespace {

constexpr qint64 hour = 3600;
constexpr qint64 day = 24 * hour;
constexpr qint64 week = 7 * day;
constexpr int canvasHeight = 180;
constexpr qreal canvasRadius = 14;
// What a server takes: a note is reset once it is sent, so none may be typed that is refused.
constexpr int mostText = 10'000;

/// What a buzz says when nothing was typed. It is read by others, whatever their language.
const QString wordlessBuzz = QStringLiteral("Buzzed you!");

QFont chipFont()
{
    return bold(textFont(TextStyle::Caption));
}

/// The drawing surface with a line around it, which must lie above what is drawn.
class OutlinedCanvas : public QWidget
{
public:
    explicit OutlinedCanvas(DoodleModel &model)
        : canvas_(new DoodleCanvas(model, canvasRadius))
        , outline_(vstack(0, {})->on(
              Background::rounded(canvasRadius, Fill::white(0)).outlined(Fill::quaternary())))
    {
        for (QWidget *layer : {canvas_, outline_})
            layer->setParent(this);
        outline_->setAttribute(Qt::WA_TransparentForMouseEvents);
        setFixedHeight(canvasHeight);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    }

protected:
    void resizeEvent(QResizeEvent *) override
    {
        canvas_->setGeometry(rect());
        outline_->setGeometry(rect());
    }

private:
    QWidget *canvas_;
    QWidget *outline_;
};

} // namespace

Composer::Composer(std::shared_ptr<Store> store, MainQueue &queue,
                   std::function<void(FeatureGuide)> onFeature)
    : Stack(Qt::Vertical, 10, Qt::AlignHCenter, {})
    , store_(std::move(store))
    , queue_(queue)
    , capsuleDuration_(day)
{
    // clang-format off
    holding({
        // to draw
        canvasFrame_ = vstack(0, {})->filling(Qt::Horizontal),
        doodleRow_ = doodleRow(),
        // to write
        capsulePanel_ = capsulePanel(),
        chipRow_ = chipRow(onFeature),
        inputRow_ = inputRow(),
    })->padded(12)
      ->on(Background::bar())
      ->filling(Qt::Horizontal);
    // clang-format on
    setFocusProxy(field_);
    field_->setMaxLength(mostText);
    connect(field_, &Field::returnPressed, this, &Composer::mainSend);
    observe(*store_, this, [this] { render(); });
    render();
}

Stack *Composer::doodleRow()
{
    // clang-format off
    return hstack(8, {
        borderedButton(
            label(tr("Text"), SymbolName::Textformat, textFont(TextStyle::Body)),
            [this] { setDoodleShown(false); }),
        plainButton(text(tr("Clear"), textFont(TextStyle::Body))->in(Fill::secondary()),
                    [this] { doodle_.clear(); }),
        spacer(),
        sendDoodle_ = prominentButton(
            doodleLabel_ = label(tr("Send doodle"), SymbolName::PaperplaneFill,
                                 bold(textFont(TextStyle::Callout)))
                               ->roomFor({tr("Send doodle"), tr("Sending…")})
                               ->padded(4, 0),
            [this] { beamTapped(); }),
    })->filling(Qt::Horizontal);
    // clang-format on
}

Stack *Composer::chipRow(const std::function<void(FeatureGuide)> &onFeature)
{
    const auto ask = [onFeature](FeatureGuide guide) {
        return [onFeature, guide] { onFeature(guide); };
    };
    // clang-format off
    return hstack(6, {
        chip(tr("Buzz"), SymbolName::DotRadiowavesLeftAndRight, ask(FeatureGuide::buzz)),
        chip(tr("Capsule"), SymbolName::Hourglass, ask(FeatureGuide::capsule)),
        chip(tr("Doodle"), SymbolName::ScribbleVariable, ask(FeatureGuide::doodle)),
    });
    // clang-format on
}

Stack *Composer::capsulePanel()
{
    const auto durationButton = [this](const QString &name, qint64 seconds) {
        Text *face = text(name, chipFont());
        Button *button = plainButton(face, [this, seconds] {
            capsuleDuration_ = seconds;
            render();
        });
        durations_.push_back({seconds, button->padded(12, 6), face});
        return button;
    };
    // clang-format off
    return vstack(8, {
        hstack(8, {
            label(tr("Time capsule — when should it open?"), SymbolName::Hourglass,
                  chipFont()),
            spacer(),
            plainButton(text(tr("Cancel"), textFont(TextStyle::Caption2))->in(Fill::secondary()),
                        [this] { setCapsuleShown(false); }),
        }),
        hstack(6, {
            durationButton(tr("1 hour"), hour),
            durationButton(tr("24 hours"), day),
            durationButton(tr("1 week"), week),
        }),
    })->padded(10)
      ->on(Background::rounded(10, Fill::violet(0.07)))
      ->filling(Qt::Horizontal);
    // clang-format on
}

Stack *Composer::inputRow()
{
    // clang-format off
    return hstack(8, {
        field_ = capsuleField({}),
        send_ = plainButton(sendSymbol_ =
                                symbol(SymbolName::PaperplaneFill, 15)->in(Fill::white()),
                            {}, [this] { mainSend(); })
                    ->wide(40)
                    ->high(40)
                    ->on(Background::capsule(Fill::gradient())),
    })->filling(Qt::Horizontal);
    // clang-format on
}

void Composer::render()
{
    const bool sending = *store_->sending;
    setShown(canvasFrame_, showDoodle_);
    setShown(doodleRow_, showDoodle_);
    setShown(capsulePanel_, !showDoodle_ && showCapsule_);
    setShown(chipRow_, !showDoodle_ && !showCapsule_);
    setShown(inputRow_, !showDoodle_);

    const QString doodleText = sending ? tr("Sending…") : tr("Send doodle");
    doodleLabel_->replace(doodleText, SymbolName::PaperplaneFill);
    sendDoodle_->setAccessibleName(doodleText);
    sendDoodle_->setEnabled(!sending);

    for (const Duration &duration : durations_) {
        const bool chosen = duration.seconds == capsuleDuration_;
        duration.face->in(chosen ? Fill::white() : Fill::violet());
        duration.button->on(Background::capsule(chosen ? Fill::gradient() : Fill::violet(0.12)));
    }

    field_->setPlaceholderText(showCapsule_ ? tr("Message to seal in the capsule…")
                                            : tr("Send a little hi…"));
    field_->setAccessibleName(field_->placeholderText());
    sendSymbol_->replace(sending        ? SymbolName::Ellipsis
                         : showCapsule_ ? SymbolName::GiftFill
                                        : SymbolName::PaperplaneFill);
    const QString action = showCapsule_ ? tr("Send time capsule") : tr("Send");
    send_->tip(action)->setAccessibleName(action);
    send_->setEnabled(!sending);
}

void Composer::setDoodleShown(bool shown)
{
    if (shown == showDoodle_)
        return;
    showDoodle_ = shown;
    if (shown) {
        canvas_ = new OutlinedCanvas(doodle_);
        canvasFrame_->holding({canvas_});
    } else {
        delete canvas_;
    }
    render();
    // What goes hands the focus to whatever comes next, with a ring around it as if by keys.
    field_->clearFocus();
    (shown ? static_cast<QWidget *>(sendDoodle_) : field_)->setFocus();
}

void Composer::setCapsuleShown(bool shown)
{
    showCapsule_ = shown;
    render();
    field_->setFocus();
}

void Composer::perform(FeatureGuide guide)
{
    switch (guide) {
    case FeatureGuide::buzz:
        sendShake();
        break;
    case FeatureGuide::capsule:
        setCapsuleShown(true);
        break;
    case FeatureGuide::doodle:
        setDoodleShown(true);
        break;
    }
}

QString Composer::trimmedText() const
{
    return field_->text().trimmed();
}

void Composer::send(Draft draft, std::function<void()> reset)
{
    detach(store_->send(std::move(draft)).then([self = QPointer(this), reset = std::move(reset)] {
        if (self)
            reset();
    }),
           "sending");
}

void Composer::sendShake()
{
    const QString note = trimmedText();
    send({.type = Beam::text, .body = note.isEmpty() ? wordlessBuzz : note, .effect = Beam::shake},
         [this] { field_->clear(); });
}

void Composer::mainSend()
{
    if (!showCapsule_) {
        beamTapped();
        return;
    }
    const QString note = trimmedText();
    if (note.isEmpty())
        return;
    send({.type = Beam::text, .body = note, .openAt = queue_.now() + capsuleDuration_}, [this] {
        field_->clear();
        showCapsule_ = false;
        render();
    });
}

void Composer::beamTapped()
{
    sendIt();
}

void Composer::sendIt()
{
    if (showDoodle_) {
        sendDoodle();
        return;
    }
    const QString note = trimmedText();
    if (!note.isEmpty())
        send({.type = Beam::text, .body = note}, [this] { field_->clear(); });
}

void Composer::sendDoodle()
{
    if (const auto body = doodle_.dataUrl()) {
        send({.type = Beam::doodle, .body = *body}, [this] {
            doodle_.clear();
            setDoodleShown(false);
        });
    }
}

} // namespace kivolo
