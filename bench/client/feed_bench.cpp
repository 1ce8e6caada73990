// The feed with ten thousand rows: a new beam, scrolling, another width, rows made to stop it.
// Beside it an empty list of Qt's, painted in the same window.
#include "bench/client/paint_watch.h"
#include "bench/client/stopwatch_application.h"
#include "feed/feed_view.h"
#include "platform/foundation/main_queue.h"
#include "style/theme.h"

#include <QListView>
#include <QScrollBar>
#include <QThreadPool>
#include <algorithm>
#include <cstdio>
#include <vector>

using namespace kivolo;
using namespace std::chrono_literals;

namespace {

constexpr int rows = 10'000;
constexpr QSize feedSize(520, 560);
constexpr int rounds = 60;

double milliseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

/// Notes as people write them: most are short, some are long, one in six is of another kind.
Beam beam(int number)
{
    static const QString words = QStringLiteral(
        "see you at the corner at seven 🌈 or do you want to go straight to the river, where the "
        "others are? Bring the blue blanket, it will be cold later, and something to eat. ");
    Beam result;
    result.id = QStringLiteral("3f1d9f0a-6c1b-4f6e-9d8e-%1").arg(number);
    result.from_member = QString::number(number % 3);
    result.type = Beam::text;
    result.body =
        number % 17 == 0 ? words.repeated(1 + number % 7) : words.left(4 + (number * 37) % 120);
    result.created_at = SystemMainQueue().now() - 20 * (rows - number);
    result.from_handle = QStringLiteral("Mia");
    result.from_emoji = QStringLiteral("🦊");
    if (number % 12 == 3)
        result.effect = Beam::shake;
    else if (number % 12 == 9)
        result.open_at = 1;
    return result;
}

/// A window with one of two views in it, which is timed from a change to the pixels.
class Bench
{
public:
    explicit Bench(const QList<Beam> &beams)
        : beams_(beams)
        , feed_(queue_)
        , empty_(&window_)
    {
        window_.resize(1240, 600);
        feed_.setParent(&window_);
        feed_.setBeams(beams_, QStringLiteral("1"));
        feed_.resize(feedSize);
        empty_.setGeometry(QRect(QPoint(600, 0), feedSize));
        empty_.setFrameShape(QFrame::NoFrame);
        paint_.watch(feed_.viewport());
        paint_.watch(empty_.viewport());
        window_.show();
        paint_.await();
        settle();
    }

    template<typename Action>
    double timed(Action action)
    {
        settle();
        paint_.forget();
        const auto begin = Clock::now();
        action();
        paint_.await();
        return milliseconds(Clock::now() - begin);
    }

    void settle()
    {
        do
            QCoreApplication::processEvents();
        while (!feed_.isSettled());
    }

    void append(const Beam &beam)
    {
        beams_.append(beam);
        feed_.setBeams(beams_, QStringLiteral("1"));
    }

    FeedView &feed() { return feed_; }
    QListView &empty() { return empty_; }

private:
    SystemMainQueue queue_;
    QList<Beam> beams_;
    QWidget window_;
    FeedView feed_;
    QListView empty_;
    PaintWatch paint_;
};

double report(const char *name, std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const double median = values[values.size() / 2];
    std::printf("%s_ms median=%.2f best=%.2f worst=%.2f\n", name, median, values.front(),
                values.back());
    std::fflush(stdout);
    return median;
}

template<typename Action>
std::vector<double> repeated(int times, Action action)
{
    std::vector<double> result;
    for (int i = 0; i < times; ++i)
        result.push_back(action(i));
    return result;
}

void reportWithReference(const char *name, double reference, std::vector<double> values)
{
    const double median = report(name, std::move(values));
    std::printf("%s_ratio=%.2f\n", name, median / reference);
}

void measureOrdinaryUse(Bench &bench)
{
    QListView &empty = bench.empty();
    const double blank = report("empty_list_repaint", repeated(rounds, [&](int) {
                                    return bench.timed([&] { empty.viewport()->update(); });
                                }));
    const double width = report(
        "empty_list_width", repeated(rounds, [&](int i) {
            return bench.timed([&] { empty.resize(feedSize.width() - 10 * (i % 8 + 1), 560); });
        }));
    FeedView &feed = bench.feed();
    reportWithReference("repaint", blank, repeated(rounds, [&](int) {
                            return bench.timed([&] { feed.viewport()->update(); });
                        }));
    reportWithReference("new_beam", blank, repeated(rounds, [&](int i) {
                            return bench.timed([&] { bench.append(beam(rows + i)); });
                        }));
    QScrollBar &bar = *feed.verticalScrollBar();
    reportWithReference("scroll_step", blank, repeated(rounds, [&](int) {
                            return bench.timed([&] { bar.setValue(bar.value() - 60); });
                        }));
    reportWithReference("scroll_page", blank, repeated(rounds, [&](int) {
                            return bench.timed(
                                [&] { bar.triggerAction(QAbstractSlider::SliderPageStepSub); });
                        }));
    reportWithReference("jump", blank, repeated(rounds, [&](int i) {
                            return bench.timed([&] { bar.setValue(bar.maximum() / (i + 2)); });
                        }));
    reportWithReference("width", width, repeated(rounds, [&](int i) {
                            return bench.timed(
                                [&] { feed.resize(feedSize.width() - 10 * (i % 8 + 1), 560); });
                        }));
    feed.resize(feedSize);
}

/// How far the scroll bar is off before every row has been seen.
void reportGuesses(Bench &bench)
{
    bench.settle();
    QScrollBar &bar = *bench.feed().verticalScrollBar();
    bar.setValue(0);
    bench.settle();
    const double guessed = bar.maximum();
    while (bar.value() < bar.maximum() && bar.value() < 20'000) {
        bar.triggerAction(QAbstractSlider::SliderPageStepAdd);
        bench.settle();
    }
    const double seen = 20'000;
    std::printf("guess_off_percent=%.2f\n", 100 * (bar.maximum() - guessed) / seen);
}

void measureTurns(StopwatchApplication &application, Bench &bench, const char *name,
                  const Beam &beam)
{
    bench.settle();
    application.reset();
    const auto begin = Clock::now();
    bench.append(beam);
    bench.settle();
    std::printf("%s longest_turn_ms=%.2f all_ms=%.0f\n", name,
                milliseconds(application.longestBlock()), milliseconds(Clock::now() - begin));
    std::fflush(stdout);
}

void measureAnimationAndHostileRows(StopwatchApplication &application, Bench &bench)
{
    Theme::shared().setReducedMotion(false);
    QScrollBar &bar = *bench.feed().verticalScrollBar();
    bar.setValue(bar.maximum());
    measureTurns(application, bench, "animated_new_beam", beam(rows + 1000));
    bar.setValue(0);
    measureTurns(application, bench, "animated_from_the_top", beam(rows + 1001));
    Theme::shared().setReducedMotion(true);
    Beam hostile = beam(rows + 1002);
    char32_t emoji = 0x1F300;
    hostile.body.clear();
    for (int i = 0; i < 10'000; ++i, emoji = emoji < 0x1F6FF ? emoji + 1 : 0x1F300)
        hostile.body += QString::fromUcs4(&emoji, 1);
    measureTurns(application, bench, "ten_thousand_emoji", hostile);
    report("emoji_page",
           repeated(5, [&](int) { return bench.timed([&] { bar.setValue(bar.value() - 600); }); }));
    hostile.id += u'a';
    hostile.body = QStringLiteral("😀\u200D").repeated(5'000);
    measureTurns(application, bench, "one_endless_character", hostile);
    hostile.id += u'a';
    hostile.body = QString(1'000'000, QChar(0x301));
    measureTurns(application, bench, "a_million_marks", hostile);
}

} // namespace

int main(int argc, char **argv)
{
    StopwatchApplication application(argc, argv);
    Theme::shared().show(Palette::standardLight());
    Theme::shared().setReducedMotion(true);
    QList<Beam> feed;
    for (int i = 0; i < rows; ++i)
        feed.append(beam(i));

    const auto begin = Clock::now();
    Bench bench(feed);
    std::printf("first_show_ms=%.1f\n", milliseconds(Clock::now() - begin));
    measureOrdinaryUse(bench);
    reportGuesses(bench);
    measureAnimationAndHostileRows(application, bench);
    QThreadPool::globalInstance()->waitForDone();
}
