#include "platform/desktop/panel_window.h"

#include "platform/desktop/coordinates.h"
#include "platform/desktop/panel_shadow.h"

#include <QGraphicsEffect>
#include <QMouseEvent>
#include <QPainter>
#include <QWindow>

namespace kivolo {

/// Paints the content with alpha from a picture of it that is kept while it does not change, so
/// that a step of a fade costs one blit however rich the content is.
class AlphaEffect final : public QGraphicsEffect
{
    Q_OBJECT
public:
    using QGraphicsEffect::QGraphicsEffect;

    double alpha() const { return alpha_; }
    void setAlpha(double alpha)
    {
        alpha_ = alpha;
        // Without an effect nothing is kept.
        setEnabled(alpha < 1);
        update();
    }

protected:
    // Takes the picture even when nothing of it will show yet: a fade starts at alpha 0, and its
    // next step should find the work done.
    void draw(QPainter *painter) override
    {
        QPoint offset;
        const QPixmap picture = sourcePixmap(Qt::DeviceCoordinates, &offset, NoPad);
        painter->save();
        painter->setWorldTransform({});
        painter->setOpacity(alpha_);
        painter->drawPixmap(offset, picture);
        painter->restore();
    }

private:
    double alpha_ = 1;
};

PanelWindow::PanelWindow(Panel &owner, std::unique_ptr<QWidget> content, bool movableByBackground)
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                           Qt::WindowDoesNotAcceptFocus | Qt::NoDropShadowWindowHint)
    , owner_(&owner)
    , content_(content.release())
    , movable_(movableByBackground)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_QuitOnClose, false);
    setFocusPolicy(Qt::NoFocus);
    content_->setParent(this);
    auto effect = std::make_unique<AlphaEffect>();
    alphaEffect_ = effect.get();
    alphaEffect_->setEnabled(false);
    content_->setGraphicsEffect(effect.release());
    blending_ = panel_system::observeBlending([this] { adaptToBlending(); });
}

PanelWindow::~PanelWindow() = default;

void PanelWindow::abandon()
{
    owner_ = nullptr;
    hide();
}

void PanelWindow::place(const Rect &frame)
{
    frame_ = frame;
    layOut();
}

void PanelWindow::layOut()
{
    const QRect card = toDesktop(frame_);
    setGeometry(card.marginsAdded(margins_));
    content_->setGeometry(QRect(QPoint(margins_.left(), margins_.top()), card.size()));
}

void PanelWindow::setAlpha(double alpha)
{
    // An opaque window cannot be half there.
    alphaEffect_->setAlpha(blended_ ? alpha : 1);
    update();
}

void PanelWindow::showInFront()
{
    if (isVisible()) {
        raise();
        return;
    }
    adaptToBlending();
    panel_system::makeFloating(*windowHandle());
    show();
}

void PanelWindow::adaptToBlending()
{
    winId(); // from here on there is a window handle
    blended_ = blending_->isOn() && windowHandle()->format().hasAlpha();
    content_->setProperty("squareCorners", !blended_);
    margins_ = blended_ ? shadowMargins : QMargins();
    layOut();
    panel_system::setShadowMargins(*windowHandle(), margins_);
    if (owner_)
        setAlpha(owner_->alpha());
}

void PanelWindow::paintEvent(QPaintEvent *)
{
    if (!blended_)
        return;
    QPainter painter(this);
    painter.setOpacity(alphaEffect_->alpha());
    paintShadow(painter, content_->geometry(), content_->property("cornerRadius").toDouble());
}

void PanelWindow::mousePressEvent(QMouseEvent *event)
{
    if (!movable_ || event->button() != Qt::LeftButton)
        return;
    const Point at = toProgram(QRect(event->globalPosition().toPoint(), QSize())).origin();
    grip_ = Point{at.x - frame_.x, at.y - frame_.y};
}

void PanelWindow::mouseMoveEvent(QMouseEvent *event)
{
    if (!grip_ || !owner_)
        return;
    const Point at = toProgram(QRect(event->globalPosition().toPoint(), QSize())).origin();
    owner_->setFrameOrigin({at.x - grip_->x, at.y - grip_->y});
}

void PanelWindow::mouseReleaseEvent(QMouseEvent *)
{
    grip_.reset();
}

} // namespace kivolo

#include "panel_window.moc"
