#include "platform/desktop/panel_window.h"

#include "platform/desktop/coordinates.h"

#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QWindow>
#include <vector>

namespace kivolo {

/// Lies over the content and thins out what has been painted beneath it: the whole window fades
/// without a second picture of it.
class PanelVeil final : public QWidget
{
    Q_OBJECT
public:
    PanelVeil()
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        hide();
    }

    void setAlpha(double alpha)
    {
        if (alpha == alpha_)
            return;
        alpha_ = alpha;
        setVisible(alpha < 1);
        update();
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        painter.fillRect(rect(), QColor::fromRgbF(0, 0, 0, float(alpha_)));
    }

private:
    double alpha_ = 1;
};

namespace {

// Those on the screen.
std::vector<PanelWindow *> &shownPanels()
{
    static std::vector<PanelWindow *> panels;
    return panels;
}

} // namespace

PanelWindow::PanelWindow(Panel &owner, std::unique_ptr<PanelContent> content,
                         bool movableByBackground)
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint |
                           Qt::WindowDoesNotAcceptFocus | Qt::NoDropShadowWindowHint)
    , owner_(&owner)
    , content_(content.release())
    , veil_(new PanelVeil)
    , movable_(movableByBackground)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_QuitOnClose, false);
    setFocusPolicy(Qt::NoFocus);
    content_->setParent(this);
    veil_->setParent(this);
    compositor_ = window_system::observeCompositor([this] { adaptToCompositor(); });
    blur_ = window_system::observeBlur([this] { adaptToCompositor(); });
}

PanelWindow::~PanelWindow() = default;

void PanelWindow::abandon()
{
    owner_ = nullptr;
    hide();
}

void PanelWindow::place(const Rect &frame)
{
    const QRect before = card();
    frame_ = frame;
    layOut();
    thinOut();
    if (isVisible() && card() != before) {
        repaintShadowsAt(before);
        repaintShadowsAt(card());
    }
}

QRect PanelWindow::card() const
{
    return toDesktop(frame_);
}

void PanelWindow::layOut()
{
    setGeometry(card().marginsAdded(margins_));
    veil_->resize(size());
    content_->setGeometry(QRect(QPoint(margins_.left(), margins_.top()), card().size()));
}

void PanelWindow::setAlpha(double alpha)
{
    alpha_ = alpha;
    thinOut();
}

void PanelWindow::thinOut()
{
    // An opaque window cannot be half there, and nobody sees the fade of one that stands beyond the
    // screen's edge, while each of its steps would cost a round trip to the window system.
    const bool seen = screen()->virtualGeometry().intersects(card());
    veil_->setAlpha(blended_ && seen ? alpha_ : 1);
}

void PanelWindow::showInFront()
{
    if (isVisible())
        return; // it is kept there
    adaptToCompositor();
    window_system::makeFloating(*windowHandle());
    foreground_ = window_system::keepInFront(*windowHandle());
    show();
}

void PanelWindow::showEvent(QShowEvent *)
{
    shownPanels().push_back(this);
    repaintShadowsAt(card());
}

void PanelWindow::hideEvent(QHideEvent *)
{
    foreground_.reset();
    std::erase(shownPanels(), this);
    repaintShadowsAt(card());
}

void PanelWindow::adaptToCompositor()
{
    blended_ = compositor_->isThere() && (!windowHandle() || windowHandle()->format().hasAlpha());
    const bool blurred = blended_ && blur_->isThere();
    content_->setBlending(!blended_ ? PanelContent::Blending::None
                          : blurred ? PanelContent::Blending::Blurred
                                    : PanelContent::Blending::Plain);
    margins_ = blended_ ? content_->shadowMargins() : QMargins();
    layOut();
    // Only now, so that the window is made where it belongs: each move costs several questions of
    // Qt's and the compositor's to the window system.
    const bool isNew = !windowHandle();
    winId();
    if (isNew && blended_ && !windowHandle()->format().hasAlpha()) {
        adaptToCompositor();
        return;
    }
    window_system::setCard(*windowHandle(), content_->size(), margins_);
    window_system::setBlur(*windowHandle(), content_->geometry(), content_->cornerRadius(),
                           blurred);
    thinOut();
}

void PanelWindow::paintEvent(QPaintEvent *)
{
    if (!blended_)
        return;
    QPainter painter(this);
    content_->paintShadow(painter, content_->geometry());
    eraseNeighbours(painter);
}

// No card's shadow darkens another card: those of a stack stand closer than a shadow reaches.
void PanelWindow::eraseNeighbours(QPainter &painter) const
{
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::black);
    const QPoint corner = card().marginsAdded(margins_).topLeft();
    for (const PanelWindow *other : shownPanels()) {
        const QRect neighbour = other->card().translated(-corner);
        const double radius = other->content_->cornerRadius();
        if (other != this && neighbour.intersects(rect()))
            painter.drawRoundedRect(neighbour, radius, radius);
    }
}

// This card has come to `place` or left it: its neighbours there lose their shadow on it or get it
// back, and it the one on them. What is invisible yet is painted anew when its fade begins.
void PanelWindow::repaintShadowsAt(const QRect &place)
{
    for (PanelWindow *other : shownPanels()) {
        const QRect window = other->card().marginsAdded(other->margins_);
        const bool reached =
            window.intersects(place) || place.marginsAdded(margins_).intersects(other->card());
        if (other == this || !reached)
            continue;
        if (other->alpha_ > 0)
            other->update(place.translated(-window.topLeft()));
        if (alpha_ > 0)
            update();
    }
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
