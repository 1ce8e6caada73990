// From a movement of the mouse to the ink on the screen, on a canvas with a drawing on it already.
#include "bench/client/paint_watch.h"
#include "doodle/doodle_canvas.h"
#include "doodle/drawing_ns_view.h"

#include <QApplication>
#include <QMouseEvent>
#include <QRandomGenerator>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

using namespace kivolo;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

constexpr int height = 180;
constexpr int strokes = 200;
constexpr int pointsPerStroke = 200;
constexpr int drags = 400;

template<typename Action>
double milliseconds(Action action)
{
    const auto begin = Clock::now();
    action();
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

/// The wanderings of a hand: short steps whose direction changes gradually, kept on the canvas.
class Hand
{
public:
    explicit Hand(int width)
        : canvas_(0, 0, width, height)
    {}

    QPointF next()
    {
        direction_ += random_.generateDouble() - 0.5;
        if (!canvas_.contains(ahead())) {
            const QPointF inwards = canvas_.center() - position_;
            direction_ = std::atan2(inwards.y(), inwards.x());
        }
        position_ = ahead();
        return position_;
    }
    void place()
    {
        position_ = {random_.generateDouble() * canvas_.width(),
                     random_.generateDouble() * canvas_.height()};
    }

private:
    QPointF ahead() const
    {
        return position_ + 4 * QPointF(std::cos(direction_), std::sin(direction_));
    }

    QRectF canvas_;
    QRandomGenerator random_{20};
    qreal direction_ = 0;
    QPointF position_{20, 20};
};

class Bench
{
public:
    explicit Bench(int width)
        : canvas_(model_, 14)
        , hand_(width)
    {
        canvas_.resize(width, height);
        canvas_.show();
        paint_.watch(model_.view);
        paint_.await();
    }

    void draw(int count, int points)
    {
        for (int i = 0; i < count; ++i) {
            hand_.place();
            send(QEvent::MouseButtonPress, hand_.next());
            for (int p = 1; p < points; ++p)
                send(QEvent::MouseMove, hand_.next());
            send(QEvent::MouseButtonRelease, hand_.next());
        }
        paint_.await();
    }

    /// Times single movements of one long stroke, in milliseconds.
    std::vector<double> drag()
    {
        hand_.place();
        send(QEvent::MouseButtonPress, hand_.next());
        std::vector<double> times;
        for (int i = 0; i < drags; ++i) {
            const QPointF to = hand_.next();
            times.push_back(timed([&] { send(QEvent::MouseMove, to); }));
        }
        send(QEvent::MouseButtonRelease, hand_.next());
        return times;
    }

    std::vector<double> wholeCanvas(int rounds)
    {
        std::vector<double> times;
        for (int i = 0; i < rounds; ++i)
            times.push_back(timed([&] { model_.view->update(); }));
        return times;
    }

    DoodleModel &model() { return model_; }

private:
    void send(QEvent::Type type, const QPointF &at)
    {
        const bool released = type == QEvent::MouseButtonRelease;
        QMouseEvent event(type, at, at, model_.view->mapToGlobal(at),
                          type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                          released ? Qt::NoButton : Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(model_.view, &event);
    }

    template<typename Action>
    double timed(Action action)
    {
        paint_.forget();
        return milliseconds([&] {
            action();
            paint_.await();
        });
    }

    DoodleModel model_;
    DoodleCanvas canvas_;
    Hand hand_;
    PaintWatch paint_;
};

double report(const char *name, int width, std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const double median = values[values.size() / 2];
    std::printf("%s_ms_%d median=%.2f best=%.2f worst=%.2f\n", name, width, median, values.front(),
                values.back());
    std::fflush(stdout);
    return median;
}

void reportExport(const char *name, int width, const DoodleModel &model)
{
    std::vector<double> times;
    qsizetype bytes = 0;
    for (int i = 0; i < 21; ++i)
        times.push_back(milliseconds([&] { bytes = model.dataUrl().value().size(); }));
    report(name, width, times);
    std::printf("%s_%d bytes=%lld\n", name, width, static_cast<long long>(bytes));
}

void plainExport()
{
    Bench bench(496);
    bench.draw(10, 60);
    reportExport("plain_export", 496, bench.model());
}

void measure(int width)
{
    Bench empty(width);
    const double reference = report("drag_empty", width, empty.drag());

    Bench full(width);
    full.draw(strokes, pointsPerStroke);
    const double drag = report("drag", width, full.drag());
    std::printf("drag_ratio_%d=%.2f\n", width, drag / reference);
    report("whole_canvas", width, full.wholeCanvas(11));

    reportExport("export", width, full.model());
}

/// Someone scribbled for an hour without lifting the pen.
void endlessStroke(int width)
{
    Bench bench(width);
    bench.draw(1, 400'000);
    report("endless_drag", width, bench.drag());
    report("endless_whole_canvas", width, bench.wholeCanvas(3));
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_SCALE_FACTOR", "2");
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    plainExport();
    measure(496);
    measure(1000);
    endlessStroke(496);
}
