#include "doodle/doodle_canvas.h"

#include "doodle/doodle_url.h"
#include "doodle/drawing_ns_view.h"

#include <QVBoxLayout>

namespace kivolo {

void DoodleModel::clear()
{
    if (view)
        view->clear();
}

bool DoodleModel::isEmpty() const
{
    return !view || (view->paths().isEmpty() && !view->current());
}

std::optional<QString> DoodleModel::dataUrl() const
{
    return isEmpty() ? std::nullopt : encodeDoodle(view->bitmap());
}

DoodleCanvas::DoodleCanvas(DoodleModel &model, qreal cornerRadius)
{
    auto *view = new DrawingNSView;
    view->setCornerRadius(cornerRadius);
    model.view = view;
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(view);
}

} // namespace kivolo
