#include "platform/desktop/panel.h"

#include "platform/desktop/panel_window.h"

#include <algorithm>

namespace kivolo {

namespace {
constexpr MainQueue::Duration frameInterval{16};
}

Panel::Panel(const Options &options, ContentFactory makeContent, MainQueue &queue)
    : options_(options)
    , makeContent_(std::move(makeContent))
    , queue_(queue)
    , frame_{0, 0, double(options.size.width()), double(options.size.height())}
{}

Panel::~Panel()
{
    if (!window_)
        return;
    window_->abandon();
    window_.release()->deleteLater();
}

void Panel::setFrame(const Rect &frame)
{
    frame_ = frame;
    if (window_)
        window_->place(frame_);
}

void Panel::setFrameOrigin(Point origin)
{
    setFrame({origin.x, origin.y, frame_.width, frame_.height});
}

void Panel::setAlpha(double alpha)
{
    fade_.reset();
    applyAlpha(alpha);
}

void Panel::applyAlpha(double alpha)
{
    alpha_ = alpha;
    if (window_)
        window_->setAlpha(alpha_);
}

void Panel::fade(double target, MainQueue::Duration duration)
{
    fade_ = std::make_unique<Fade>(Fade{alpha_, target, queue_.uptime(), duration,
                                        queue_.every(frameInterval, [this] { step(); })});
}

void Panel::step()
{
    const double progress = std::min(1.0, double((queue_.uptime() - fade_->start).count()) /
                                              double(fade_->duration.count()));
    applyAlpha(fade_->from + (fade_->target - fade_->from) * progress);
    if (progress >= 1)
        fade_.reset();
}

void Panel::orderFront()
{
    if (!window_) {
        window_ =
            std::make_unique<PanelWindow>(*this, makeContent_(*this), options_.movableByBackground);
        makeContent_ = {};
        window_->setAlpha(alpha_);
        window_->place(frame_);
    }
    window_->showInFront();
}

void Panel::orderOut()
{
    if (window_)
        window_->hide();
}

bool Panel::isVisible() const
{
    return window_ && window_->isVisible();
}

PanelContent *Panel::content() const
{
    return window_ ? window_->content() : nullptr;
}

QWidget *Panel::window() const
{
    return window_.get();
}

} // namespace kivolo
