// What the menu-bar panel's content stands in.
#pragma once

#include "platform/desktop/panel_content.h"

#include <memory>

namespace kivolo {

/// Gives its content the window's background, continuous rounded corners and a hair line around
/// them. The content has all of its size; corners and line lie over it.
class PanelFrame final : public PanelContent
{
    Q_OBJECT
public:
    explicit PanelFrame(std::unique_ptr<QWidget> content);

    void setBlending(Blending blending) override;
    double cornerRadius() const override { return 12; }

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    class Edge;

    QWidget *content_;
    Edge *edge_;
    bool squareCorners_ = true;
};

} // namespace kivolo
