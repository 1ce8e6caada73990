#include "style/cross_fade.h"

#include "style/theme.h"

#include <QGraphicsOpacityEffect>

namespace kivolo {

CrossFade::CrossFade()
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    fade_.setDuration(standardMotion);
    fade_.setEasingCurve(QEasingCurve::InOutSine);
    fade_.setStartValue(0.0);
    fade_.setEndValue(1.0);
    connect(&fade_, &QVariantAnimation::valueChanged, this,
            [this](const QVariant &value) { blend(value.toReal()); });
    connect(&fade_, &QVariantAnimation::finished, this, &CrossFade::finish);
}

void CrossFade::replace(QWidget *view)
{
    fade_.stop();
    finish();
    leaving_ = shown_;
    shown_ = view;
    view->setParent(this);
    view->setGeometry(rect());
    updateGeometry();
    if (leaving_ && isVisible() && !Theme::shared().reducesMotion()) {
        for (QWidget *fading : {leaving_, shown_})
            fading->setGraphicsEffect(new QGraphicsOpacityEffect(fading));
        blend(0);
        fade_.start();
    } else {
        finish();
    }
    view->show();
}

void CrossFade::blend(qreal progress)
{
    const auto setOpacity = [](QWidget *view, qreal opacity) {
        if (view && view->graphicsEffect())
            static_cast<QGraphicsOpacityEffect *>(view->graphicsEffect())->setOpacity(opacity);
    };
    setOpacity(leaving_, 1 - progress);
    setOpacity(shown_, progress);
}

void CrossFade::finish()
{
    if (leaving_) {
        leaving_->hide();
        leaving_->deleteLater();
        leaving_ = nullptr;
    }
    if (shown_)
        shown_->setGraphicsEffect(nullptr);
}

QSize CrossFade::sizeHint() const
{
    return shown_ ? shown_->sizeHint() : QSize();
}

QSize CrossFade::minimumSizeHint() const
{
    return shown_ ? shown_->minimumSizeHint() : QSize();
}

void CrossFade::resizeEvent(QResizeEvent *)
{
    for (QWidget *view : {leaving_, shown_}) {
        if (view)
            view->setGeometry(rect());
    }
}

} // namespace kivolo
