// What the composer holds of its drawing surface, and the widget that hosts it.
#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>
#include <optional>

namespace kivolo {

class DrawingNSView;

/// The composer's handle on the drawing surface. Outlives the surface and then is empty. Main
/// thread only.
struct DoodleModel
{
    QPointer<DrawingNSView> view; ///< The surface shown now, if one is.

    void clear();
    /// Whether nothing was drawn. A press without a movement counts as drawn, though it shows
    /// nothing.
    bool isEmpty() const;

    /// The drawing as the body of a beam: the whole surface as a PNG data URL; nothing if it is
    /// empty or cannot be encoded.
    std::optional<QString> dataUrl() const;
};

/// Hosts a new, empty drawing surface, fills itself with it and makes it known to a model. Lives as
/// long as the doodle panel is shown: its end discards the drawing.
class DoodleCanvas final : public QWidget
{
public:
    /// Corners outside the continuous rounded rectangle of `cornerRadius` are left unpainted.
    /// `model` is not used any more once the canvas is made.
    DoodleCanvas(DoodleModel &model, qreal cornerRadius);
};

} // namespace kivolo
