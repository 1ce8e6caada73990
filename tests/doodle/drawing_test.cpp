#include "doodle/doodle_canvas.h"
#include "doodle/doodle_url.h"
#include "doodle/drawing_ns_view.h"

#include <QAccessible>
#include <QMouseEvent>
#include <QRandomGenerator>
#include <QScreen>
#include <QTest>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

const QColor violet(125, 92, 252);

/// A canvas in a window of another colour, and the hand that draws on it.
class DrawingTest : public testing::Test
{
protected:
    DrawingTest() { host_.setPalette(QPalette(Qt::darkGreen)); }

    /// The window as wide as the canvas, unless the canvas stands a little inside.
    void show(const QRect &canvas, qreal radius)
    {
        canvas_ = new DoodleCanvas(model_, radius);
        canvas_->setParent(&host_);
        canvas_->setGeometry(canvas);
        canvas_->show();
        host_.resize(canvas.size() + 2 * QSize(canvas.x(), canvas.y()));
        host_.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&host_));
        settle();
    }

    void mouse(QEvent::Type type, const QPointF &at, Qt::MouseButton button = Qt::LeftButton)
    {
        QMouseEvent event(
            type, at.toPoint(), model_.view->mapTo(&host_, at), model_.view->mapToGlobal(at),
            button, type == QEvent::MouseButtonRelease ? Qt::NoButton : button, Qt::NoModifier);
        QCoreApplication::sendEvent(model_.view, &event);
    }
    void press(const QPointF &at) { mouse(QEvent::MouseButtonPress, at); }
    void drag(const QPointF &at) { mouse(QEvent::MouseMove, at); }
    void release(const QPointF &at) { mouse(QEvent::MouseButtonRelease, at); }

    /// Has everything painted now that is to be painted some time soon.
    void settle()
    {
        QCoreApplication::processEvents();
        QEvent request(QEvent::UpdateRequest);
        QCoreApplication::sendEvent(&host_, &request);
    }

    /// What the screen shows of the canvas, in its pixels.
    QImage shown()
    {
        const QImage window = host_.screen()
                                  ->grabWindow(host_.winId())
                                  .toImage()
                                  .convertToFormat(QImage::Format_RGB32);
        const qreal ratio = host_.devicePixelRatioF();
        return window.copy(QRect((QPointF(canvas_->pos()) * ratio).toPoint(),
                                 (QSizeF(canvas_->size()) * ratio).toSize()));
    }
    /// Whether the screen shows `expected`, apart from `margin` pixels on the left and right, as
    /// soon as window manager and compositor are done.
    bool shows(const QImage &expected, int margin = 0)
    {
        return QTest::qWaitFor([&] { return same(shown(), expected, margin); });
    }
    QImage exported() const { return model_.view->bitmap().convertToFormat(QImage::Format_RGB32); }

    static bool same(const QImage &a, const QImage &b, int margin = 0)
    {
        const QRect compared = a.rect().adjusted(margin, 0, -margin, 0);
        return a.size() == b.size() && a.copy(compared) == b.copy(compared);
    }

    QWidget host_;
    DoodleModel model_;
    DoodleCanvas *canvas_ = nullptr;
};

TEST_F(DrawingTest, AStrokeFromPressToRelease)
{
    show({0, 0, 400, 160}, 0);
    const DrawingNSView &view = *model_.view;
    EXPECT_TRUE(model_.isEmpty());
    EXPECT_FALSE(model_.dataUrl());
    EXPECT_EQ(QAccessible::queryAccessibleInterface(model_.view)->text(QAccessible::Name),
              QStringLiteral("Doodle"));
    drag({10, 10});
    release({10, 10});
    mouse(QEvent::MouseButtonPress, {10, 10}, Qt::RightButton);
    drag({20, 20});
    EXPECT_TRUE(model_.isEmpty()) << "without a press of the left button";

    press({10, 10.5});
    EXPECT_FALSE(model_.isEmpty());
    mouse(QEvent::MouseButtonRelease, {10, 10}, Qt::RightButton);
    drag({60, 10.5});
    drag({60, 10.5});
    drag({-5, 999}); // the drag goes on outside
    EXPECT_TRUE(view.paths().isEmpty());
    release({30, 30});
    EXPECT_FALSE(view.current());
    ASSERT_EQ(view.paths().size(), 1);
    EXPECT_EQ(view.paths().at(0), QPolygonF({{10, 10.5}, {60, 10.5}, {60, 10.5}, {-5, 999}}));

    press({100, 100});
    drag({120, 100});
    model_.clear();
    EXPECT_TRUE(model_.isEmpty());
    drag({140, 100});
    release({140, 100});
    EXPECT_TRUE(model_.isEmpty()) << "cleared during a stroke";

    press({50, 50}); // a mere click is sent as white
    release({50, 50});
    const Doodle doodle = decodeDoodle(model_.dataUrl().value(), {4000, 4000}).value();
    EXPECT_EQ(doodle.size, (QSizeF(400, 160) * host_.devicePixelRatioF()).toSize());
    QImage white(doodle.size, QImage::Format_RGB32);
    white.fill(Qt::white);
    EXPECT_TRUE(same(doodle.image.convertToFormat(QImage::Format_RGB32), white));
}

TEST_F(DrawingTest, ThePenIsRoundAndThreePointsWide)
{
    show({0, 0, 400, 160}, 0);
    press({40, 40});
    drag({80, 40});
    drag({80, 80});
    release({80, 80});
    const QImage image = exported();
    const qreal ratio = host_.devicePixelRatioF();
    const auto ink = [&](qreal x, qreal y) {
        return image.pixelColor((QPointF(x, y) * ratio).toPoint());
    };
    EXPECT_EQ(ink(60, 40), violet);
    EXPECT_EQ(ink(60, 43), QColor(Qt::white));
    EXPECT_EQ(ink(80, 60), violet);
    EXPECT_EQ(ink(83, 37), QColor(Qt::white)) << "a round corner";
    EXPECT_EQ(ink(37, 37), QColor(Qt::white)) << "a round end";
    // All the ink adds up to the line's area: two arms, the corner counted once, two half discs.
    double area = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            area += (255 - image.pixelColor(x, y).green()) / double(255 - violet.green());
    EXPECT_NEAR(area / ratio / ratio, 2 * 3 * 40 - 1.5 * 1.5 + M_PI * 1.5 * 1.5 * 1.25, 2);
}

class DrawingOnScreenTest : public DrawingTest, public testing::WithParamInterface<int>
{};
INSTANTIATE_TEST_SUITE_P(Radius, DrawingOnScreenTest, testing::Values(0, 14));

// What is painted piece by piece, as the hand moves, is what is painted all at once.
TEST_P(DrawingOnScreenTest, ShowsWhatIsExported)
{
    const int radius = GetParam();
    show({radius, 8, 400, 160}, radius);
    const int corner = qCeil(radius * 1.25 * host_.devicePixelRatioF());
    QRandomGenerator random(7);
    const auto anywhere = [&] {
        return QPointF(random.bounded(410.0) - 5, random.bounded(170.0) - 5);
    };
    for (int stroke = 0; stroke < 12; ++stroke) {
        const QPointF start = anywhere();
        QPointF at = start;
        press(at);
        for (int i = 0; i < 25; ++i) {
            at = i % 9 == 8 ? anywhere()
                            : at + QPointF(random.bounded(16.0) - 8, random.bounded(16.0) - 8);
            drag(at);
            settle();
        }
        drag(start);
        if (stroke % 4 != 3) // else the release gets lost, and the next press drops the stroke
            release(start);
    }
    EXPECT_TRUE(shows(exported(), corner));
    model_.view->repaint();
    EXPECT_TRUE(shows(exported(), corner)) << "all at once";
    model_.clear();
    EXPECT_TRUE(shows(exported(), corner)) << "cleared";
    delete canvas_;
    EXPECT_TRUE(model_.isEmpty());
}

TEST_F(DrawingTest, CornersBelongToWhatIsBehind)
{
    show({12, 8, 400, 160}, 14);
    press({-20, 0});
    drag({420, 0});
    // Wide enough for the corners to lie in the margin.
    ASSERT_TRUE(shows(exported(), qCeil(18 * host_.devicePixelRatioF())));
    const QImage image = shown();
    const QColor behind = host_.palette().color(QPalette::Window);
    const int right = image.width() - 1;
    const int bottom = image.height() - 1;
    for (const QPoint &corner :
         {QPoint(0, 0), QPoint(right, 0), QPoint(0, bottom), QPoint(right, bottom)})
        EXPECT_EQ(image.pixelColor(corner), behind) << corner.x() << ", " << corner.y();
    EXPECT_EQ(image.pixelColor(image.width() / 2, 0), violet);
    EXPECT_EQ(image.pixelColor(image.width() / 2, bottom), QColor(Qt::white));
    EXPECT_EQ(exported().pixelColor(0, 0), violet);
    EXPECT_EQ(exported().pixelColor(right, bottom), QColor(Qt::white));
}

TEST_F(DrawingTest, StrokesStayWhereTheyAreWhenTheSizeChanges)
{
    show({0, 0, 400, 160}, 0);
    press({10, 10});
    drag({390, 150});
    release({390, 150});
    const QImage before = exported();
    canvas_->resize(200, 160);
    host_.resize(200, 160);
    const QImage part = before.copy({{}, exported().size()});
    EXPECT_TRUE(shows(part));
    canvas_->resize(400, 160);
    host_.resize(400, 160);
    EXPECT_TRUE(shows(before));
}

} // namespace
} // namespace kivolo
