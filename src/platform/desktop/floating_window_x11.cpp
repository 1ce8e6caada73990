// Floating windows under X11, by the Extended Window Manager Hints.
#include "platform/desktop/floating_window.h"
#include "platform/desktop/x11.h"

#include <QPainterPath>
#include <QRegion>
#include <QWindow>
#include <array>
#include <span>
#include <vector>
#include <xcb/shape.h>

namespace kivolo::window_system {

using namespace x11;

namespace {

void setProperty(QWindow &window, Atom property, xcb_atom_t type, std::span<const uint32_t> values)
{
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, xcb_window_t(window.winId()),
                        atom(property), type, 32, uint32_t(values.size()), values.data());
}

// The card's shape in device pixels, as rectangles.
std::vector<uint32_t> blurRegion(const QRectF &card, double radius)
{
    QPainterPath path;
    path.addRoundedRect(card, radius, radius);
    std::vector<uint32_t> numbers;
    for (const QRect &part : QRegion(path.toFillPolygon().toPolygon())) {
        for (const int number : {part.x(), part.y(), part.width(), part.height()})
            numbers.push_back(uint32_t(number));
    }
    return numbers;
}

} // namespace

void makeFloating(QWindow &window)
{
    if (!connection())
        return;
    // In place of Qt's own types: for compositors, who treat each kind in its own way.
    setProperty(window, Window_type, XCB_ATOM_ATOM, std::array{atom(Type_notification)});
}

void setCard(QWindow &window, const QSize &card, const QMargins &shadow)
{
    if (!connection())
        return;
    const double scale = window.devicePixelRatio();
    const auto device = [scale](int points) { return uint32_t(qRound(points * scale)); };
    // Compositors throw a shadow of their own around windows that do not say where they end.
    setProperty(window, Frame_extents, XCB_ATOM_CARDINAL,
                std::array{device(shadow.left()), device(shadow.right()), device(shadow.top()),
                           device(shadow.bottom())});
    const xcb_rectangle_t shape = {int16_t(device(shadow.left())), int16_t(device(shadow.top())),
                                   uint16_t(device(card.width())), uint16_t(device(card.height()))};
    xcb_shape_rectangles(connection(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT,
                         XCB_CLIP_ORDERING_UNSORTED, xcb_window_t(window.winId()), 0, 0, 1, &shape);
}

void setBlur(QWindow &window, const QRect &card, double cornerRadius, bool blurred)
{
    if (!connection())
        return;
    if (!blurred) {
        xcb_delete_property(connection(), xcb_window_t(window.winId()), atom(Blur_region));
        return;
    }
    const double scale = window.devicePixelRatio();
    const QRectF device(QPointF(card.topLeft()) * scale, QSizeF(card.size()) * scale);
    setProperty(window, Blur_region, XCB_ATOM_CARDINAL, blurRegion(device, cornerRadius * scale));
}

} // namespace kivolo::window_system
