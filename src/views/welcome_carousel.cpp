#include "views/welcome_carousel.h"

#include "style/button.h"
#include "style/cross_fade.h"
#include "style/text_style.h"

#include <QShortcut>
#include <QShowEvent>

namespace kivolo {

namespace {

constexpr int leastHeight = 420;
constexpr int dotDiameter = 7;
constexpr int dotSpacing = 7;
constexpr int dotReach = 9; // a dot can be hit this far above and below it

} // namespace

WelcomeCarousel::WelcomeCarousel(std::function<void()> onDone)
    : Stack(Qt::Vertical, 0, Qt::AlignHCenter, {})
    , slides_{
          {QStringLiteral("onb1"), tr("Be with your people"),
           tr("Leave a note or doodle for the people who matter — your partner, family, a friend, "
              "or a coworker. It pops up live on their Mac screen. No phone, no group chat.")},
          {QStringLiteral("onb2"), tr("A note or a doodle"),
           tr("Scribble something or type a line from your menu bar. Hit send — and you never left "
              "your work.")},
          {QStringLiteral("onb3"), tr("Live on their screen"),
           tr("Your note appears right where they’re working, then gently fades. They can send one "
              "back from their desk, instantly.")},
          {QStringLiteral("onb4"), tr("Your circle, up to 5"),
           tr("Share your code with your partner, family, friends or teammates. Everyone you "
              "invite is in — no extra setup.")},
      }
    , onDone_(std::move(onDone))
{
    setMinimumHeight(leastHeight);
    const QFont body = textFont(TextStyle::Body);
    // clang-format off
    holding({
        area_ = new CrossFade,
        pageDots()->padded({0, 0, 0, 18 - dotReach}),
        hstack(0, {
            back_ = plainButton(text(tr("Back"), body)->in(Fill::secondary()),
                                [this] { turnTo(i_ - 1); }),
            spacer(),
            forward_ = prominentButton(forwardText_ = text({}, body), [this] { goForward(); }),
        })->padded({24, 0, 24, 22})->filling(Qt::Horizontal),
    })->filling();
    // clang-format on
    bindKeys();
    setFocusProxy(forward_);
    area_->replace(slideArea(slides_[i_]));
    render();
}

QWidget *WelcomeCarousel::slideArea(const Slide &slide)
{
    // clang-format off
    return vstack(18, {
        illustration(slide.image, 150),
        text(slide.title, bold(textFont(TextStyle::Title2))),
        text(slide.body, textFont(TextStyle::Callout))
            ->in(Fill::secondary())
            ->lineSpacing(2),
    })->padded({30, dotReach, 30, 0})->filling(); // as if the dots reached no higher than they show
    // clang-format on
}

Stack *WelcomeCarousel::pageDots()
{
    Stack *row = hstack(0, {});
    for (qsizetype i = 0; i < slides_.size(); ++i) {
        Stack *circle = hstack(0, {})->wide(dotDiameter)->high(dotDiameter);
        dots_.append(circle);
        row->holding({
            plainButton(circle, tr("Page %1 of %2").arg(i + 1).arg(slides_.size()),
                        [this, i] { turnTo(i); })
                ->wide(dotDiameter + dotSpacing)
                ->high(dotDiameter + 2 * dotReach),
        });
    }
    return row;
}

void WelcomeCarousel::bindKeys()
{
    const auto bind = [this](Qt::Key key, auto action) {
        auto *shortcut = new QShortcut(key, this, action);
        shortcut->setAutoRepeat(false);
    };
    bind(Qt::Key_Return, [this] { goForward(); });
    bind(Qt::Key_Enter, [this] { goForward(); });
    bind(Qt::Key_Left, [this] { turnTo(i_ - 1); });
    bind(Qt::Key_Right, [this] { turnTo(i_ + 1); });
}

void WelcomeCarousel::goForward()
{
    if (i_ >= slides_.size() - 1)
        onDone_();
    else
        turnTo(i_ + 1);
}

void WelcomeCarousel::turnTo(qsizetype index)
{
    index = qBound(qsizetype(0), index, slides_.size() - 1);
    if (index == i_)
        return;
    i_ = index;
    area_->replace(slideArea(slides_[i_]));
    render();
}

void WelcomeCarousel::render()
{
    for (qsizetype i = 0; i < dots_.size(); ++i)
        dots_[i]->on(Background::capsule(i == i_ ? Fill::violet() : Fill::secondary(0.3)));
    setShown(back_, i_ >= 1);
    const bool last = i_ >= slides_.size() - 1;
    forwardText_->replace(last ? tr("Connect now") : tr("Next"));
    forward_->setAccessibleName(forwardText_->text());
}

void WelcomeCarousel::showEvent(QShowEvent *event)
{
    Stack::showEvent(event);
    if (!event->spontaneous())
        setFocus();
}

} // namespace kivolo
