#include "app/panel_frame.h"

#include "style/shapes.h"
#include "style/theme.h"

#include <QPainter>

namespace kivolo {

/// Lies over the content, which would paint into the corners otherwise.
class PanelFrame::Edge final : public QWidget
{
public:
    explicit Edge(const PanelFrame &frame)
        : frame_(frame)
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const qreal radius = frame_.squareCorners_ ? 0 : frame_.cornerRadius();
        if (radius > 0) {
            QPainterPath corners;
            corners.addRect(rect());
            corners.addPath(continuousRoundedRect(rect(), radius));
            painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
            painter.fillPath(corners, Qt::black);
            painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        }
        strokeInside(painter, rect(), radius, 1, Theme::shared().colors().quaternary);
    }

private:
    const PanelFrame &frame_;
};

PanelFrame::PanelFrame(std::unique_ptr<QWidget> content)
    : content_(content.release())
    , edge_(new Edge(*this))
{
    for (QWidget *layer : {content_, static_cast<QWidget *>(edge_)})
        layer->setParent(this); // which owns it
}

void PanelFrame::setBlending(Blending blending)
{
    squareCorners_ = blending == Blending::None;
    update();
}

void PanelFrame::paintEvent(QPaintEvent *)
{
    QPainter(this).fillRect(rect(), Theme::shared().colors().window);
}

void PanelFrame::resizeEvent(QResizeEvent *)
{
    content_->setGeometry(rect());
    edge_->setGeometry(rect());
}

} // namespace kivolo
