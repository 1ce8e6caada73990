#include "pictures/doodles.h"

#include "doodle/doodle_canvas.h"
#include "doodle/drawing_ns_view.h"

#include <QCoreApplication>
#include <QMouseEvent>
#include <QPainterPath>
#include <cmath>
#include <span>

namespace kivolo {

namespace {

constexpr QSizeF drawnOn(496, 180);
constexpr qreal pace = 4; // points between two samples of the pointer

/// A start, followed by cubic curves of three points each.
using Curve = std::initializer_list<QPointF>;

QPolygonF byHand(const Curve &curve, int stroke)
{
    const std::span<const QPointF> points(curve);
    QPainterPath path(points.front());
    for (size_t i = 1; i + 2 < points.size(); i += 3)
        path.cubicTo(points[i], points[i + 1], points[i + 2]);
    const qreal length = path.length();
    QPolygonF line;
    for (int step = 0; step * pace < length; ++step) {
        const qreal at = step * pace;
        const qreal phase = at / 9 + stroke * 2.1;
        const QPointF tremor(0.6 * std::sin(phase), 0.6 * std::cos(phase * 1.3));
        line << path.pointAtPercent(path.percentAtLength(at)) + tremor;
    }
    return line << path.currentPosition();
}

QList<QPolygonF> byHand(std::initializer_list<Curve> curves)
{
    QList<QPolygonF> strokes;
    for (const Curve &curve : curves)
        strokes << byHand(curve, int(strokes.size()));
    return strokes;
}

void send(QWidget &canvas, QEvent::Type type, const QPointF &at, Qt::MouseButtons held)
{
    QMouseEvent event(type, at, canvas.mapTo(canvas.window(), at), canvas.mapToGlobal(at),
                      type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, held, {});
    QCoreApplication::sendEvent(&canvas, &event);
}

} // namespace

QList<QPolygonF> catDoodle()
{
    return byHand({
        // hi
        {{58, 38}, {57, 70}, {55, 108}, {54, 141}},
        {{55, 112}, {62, 88}, {86, 84}, {90, 106}, {91, 118}, {90, 130}, {92, 141}},
        {{118, 98}, {116, 112}, {116, 128}, {120, 140}},
        {{118, 74}, {119, 75}, {119, 76}, {119, 78}},
        // a heart
        {{214, 141},
         {176, 112},
         {160, 76},
         {184, 64},
         {200, 57},
         {211, 72},
         {213, 84},
         {218, 68},
         {236, 56},
         {249, 68},
         {264, 84},
         {246, 114},
         {213, 142}},
        // a cat
        {{332, 90},  {326, 68},  {328, 50},  {335, 38}, {345, 46},  {354, 55},
         {363, 62},  {376, 58},  {392, 58},  {404, 62}, {413, 55},  {422, 45},
         {432, 38},  {440, 52},  {441, 70},  {435, 89}, {447, 114}, {430, 148},
         {384, 148}, {337, 148}, {321, 114}, {333, 87}},
        {{359, 97}, {361, 89}, {367, 89}, {369, 97}},
        {{399, 96}, {401, 89}, {407, 89}, {408, 97}},
        {{378, 111}, {382, 109}, {386, 109}, {390, 111}, {388, 116}, {385, 118}, {383, 119}},
        {{383, 119}, {381, 129}, {370, 129}, {367, 122}},
        {{383, 119}, {386, 129}, {397, 129}, {400, 121}},
        {{346, 110}, {334, 107}, {324, 104}, {314, 103}},
        {{346, 119}, {334, 120}, {324, 121}, {315, 124}},
        {{422, 109}, {434, 106}, {444, 103}, {454, 101}},
        {{422, 118}, {434, 119}, {444, 120}, {455, 123}},
    });
}

QList<QPolygonF> cupDoodle()
{
    return byHand({
        {{178, 78},
         {180, 120},
         {186, 148},
         {206, 152},
         {226, 155},
         {246, 155},
         {262, 151},
         {280, 147},
         {286, 118},
         {286, 79}},
        {{178, 79}, {196, 66}, {268, 66}, {287, 78}, {268, 92}, {198, 92}, {177, 78}},
        {{286, 92}, {318, 86}, {318, 130}, {281, 127}},
        {{150, 158}, {190, 174}, {276, 174}, {316, 157}},
        {{208, 54}, {198, 44}, {218, 36}, {207, 22}},
        {{232, 54}, {222, 43}, {243, 34}, {231, 18}},
        {{256, 54}, {246, 44}, {266, 36}, {256, 23}},
    });
}

void drawByHand(QWidget &canvas, const QList<QPolygonF> &strokes)
{
    const qreal scale = std::min(canvas.width() / drawnOn.width(), 1.0);
    for (const QPolygonF &stroke : strokes) {
        send(canvas, QEvent::MouseButtonPress, stroke.first() * scale, Qt::LeftButton);
        for (const QPointF &point : stroke)
            send(canvas, QEvent::MouseMove, point * scale, Qt::LeftButton);
        send(canvas, QEvent::MouseButtonRelease, stroke.last() * scale, Qt::NoButton);
    }
}

QString doodleBody(const QList<QPolygonF> &strokes)
{
    DoodleModel model;
    DoodleCanvas canvas(model, 0);
    canvas.setAttribute(Qt::WA_DontShowOnScreen);
    canvas.resize(drawnOn.toSize());
    canvas.show();
    drawByHand(*model.view, strokes);
    return model.dataUrl().value();
}

} // namespace kivolo
