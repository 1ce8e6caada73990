// From the last byte of a reply to what a person sees of it, and how long the main thread is away.
#include "bench/client/reply_server.h"
#include "bench/client/stopwatch_application.h"
#include "core/store.h"
#include "overlays/floating_cards.h"
#include "overlays/popup_manager.h"
#include "overlays/warm_up.h"
#include "platform/desktop/screen.h"
#include "platform/foundation/task.h"

#include <QAbstractButton>
#include <algorithm>
#include <cstdio>
#include <vector>

using namespace kivolo;
using namespace std::chrono_literals;

namespace {

/// The real queue, except that a poll follows the other at once.
class HastyQueue final : public MainQueue
{
public:
    qint64 now() const override { return real_.now(); }
    Duration uptime() const override { return real_.uptime(); }
    void after(Duration delay, QObject *context, Action action) override
    {
        real_.after(delay == 2s ? 20ms : delay, context, std::move(action));
    }
    std::unique_ptr<Repetition> every(Duration interval, Action action) override
    {
        return real_.every(interval, std::move(action));
    }

private:
    SystemMainQueue real_;
};

template<typename Condition>
void turnUntil(Condition condition)
{
    const auto deadline = Clock::now() + 30s;
    while (!condition()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        if (Clock::now() > deadline)
            qFatal("nothing happened for 30 seconds");
    }
}

void rest(std::chrono::milliseconds duration)
{
    const auto end = Clock::now() + duration;
    turnUntil([&] { return Clock::now() >= end; });
}

QByteArray beam(int number, const QByteArray &type, const QByteArray &body)
{
    return R"({"id":"b)" + QByteArray::number(number) + R"(","from_member":"m","type":")" + type +
           R"(","body":")" + body + R"(","created_at":1,"from_handle":"Mia","from_emoji":"x"})";
}

QByteArray poll(const QByteArrayList &beams)
{
    return R"({"server_time":1,"beams":[)" + beams.join(',') + "]}";
}

double milliseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

constexpr int rounds = 5;
/// Until a card has faded in; while it does, it is painted again and again.
constexpr auto fade = 500ms;

/// The median is the result: one round can meet whatever else the machine is doing.
void reportRounds(const char *name, std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    std::printf("%s median=%.2f best=%.2f p95=%.2f worst=%.2f\n", name, values[values.size() / 2],
                values.front(), values[values.size() * 95 / 100], values.back());
    std::fflush(stdout);
}

class Bench
{
public:
    explicit Bench(StopwatchApplication &application)
        : application_(application)
    {
        qputenv("KIVOLO_API_URL", server_.origin());
        qputenv("KIVOLO_SITE_URL", server_.origin());
        store_ = Store::create(
            queue_, QStringLiteral("device"),
            {.show = [](const Beam &beam, bool shake) { PopupManager::shared().show(beam, shake); },
             .addCapsule = [](const Beam &, auto) {}});
        store_->begin();
        turnUntil([&] { return server_.polls() > 3; });
    }

    /// Lets `count` beams arrive in one reply and waits until all their cards are painted.
    void deliver(int count, const QByteArray &type, const QByteArray &body)
    {
        QByteArrayList beams;
        for (int i = 0; i < count; ++i)
            beams.append(beam(nextBeam_++, type, body));
        application_.reset();
        server_.answerNext("/beams", poll(beams));
        turnUntil([&] { return application_.cardsPainted() == count; });
    }

    Clock::duration sinceLastByte() const
    {
        return application_.lastCardPainted() - server_.lastByteSent();
    }

    void oneCard()
    {
        std::vector<double> times;
        for (int i = 0; i < 60; ++i) {
            deliver(1, "text", "look out of the window 🌈");
            times.push_back(milliseconds(sinceLastByte()));
            rest(fade);
            closeCard();
        }
        std::printf("first_card_of_the_process_ms=%.2f\n", times.front());
        reportRounds("one_card_ms", times);
    }

    /// So that the next one has the desktop to itself.
    static void closeCard()
    {
        const auto &cards = PopupManager::shared().panels();
        cards.front()->content()->findChild<QAbstractButton *>()->click();
        turnUntil([&] { return cards.empty(); });
    }

    /// As many unmanaged windows of Qt's, as large and as translucent as a card with its
    /// shadow, and empty: what the cards are compared with.
    Clock::duration bareWindows(int count)
    {
        application_.reset("QWidget");
        const auto begin = Clock::now();
        std::vector<std::unique_ptr<QWidget>> windows;
        for (int i = 0; i < count; ++i) {
            QWidget &window = *windows.emplace_back(std::make_unique<QWidget>(
                nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint));
            window.setAttribute(Qt::WA_TranslucentBackground);
            window.setAttribute(Qt::WA_ShowWithoutActivating);
            window.setGeometry(1092, -8 + 162 * i, 364, 218);
            window.show();
        }
        turnUntil([&] { return application_.cardsPainted() == count; });
        QGuiApplication::sync();
        return Clock::now() - begin;
    }

    void twentyCards()
    {
        std::vector<double> times;
        std::vector<double> bare;
        std::vector<double> ratios;
        std::vector<double> blocks;
        for (int round = 0; round < rounds; ++round) {
            bare.push_back(milliseconds(bareWindows(20)));
            rest(fade);
            deliver(20, "text", "I’ll be ten minutes late, the tram is doing its thing again.");
            QGuiApplication::sync();
            times.push_back(milliseconds(Clock::now() - server_.lastByteSent()));
            ratios.push_back(times.back() / bare.back());
            rest(fade);
            blocks.push_back(milliseconds(application_.longestBlock()));
            turnUntil([] { return PopupManager::shared().panels().empty(); });
        }
        reportRounds("twenty_cards_ms", times);
        reportRounds("twenty_bare_windows_ms", bare);
        reportRounds("twenty_cards_per_bare_windows", ratios);
        reportRounds("twenty_cards_longest_block_ms", blocks);
    }

    void history(const char *name, int doodleBytes)
    {
        std::vector<double> blocks;
        for (int round = 0; round < rounds; ++round) {
            QByteArrayList beams;
            for (int i = 0; i < 40; ++i)
                beams.append(i % 2 ? beam(nextBeam_++, "text", "see you at seven")
                                   : beam(nextBeam_++, "doodle",
                                          "data:image/png;base64," + QByteArray(doodleBytes, 'A')));
            server_.answerNext("/history", R"({"beams":[)" + beams.join(',') + "]}");
            application_.reset();
            bool done = false;
            store_->loadHistory().then([&] { done = true; });
            turnUntil([&] { return done; });
            rest(50ms);
            if (store_->feed->size() < 40)
                qFatal("the history did not arrive");
            blocks.push_back(milliseconds(application_.longestBlock()));
        }
        reportRounds(name, blocks);
    }

    /// A megabyte of text, half a million combining marks, overrides of direction with markup, and
    /// a doodle that is none.
    void hostile()
    {
        const QByteArray texts[] = {QByteArray(1'000'000, 'x'),
                                    "e" + QByteArray("\xcc\x81").repeated(500'000),
                                    QByteArray("\xe2\x80\xae\xd7\x90 <b>x</b>").repeated(60'000)};
        std::vector<double> blocks;
        for (int round = 0; round < rounds; ++round) {
            double longest = 0;
            const auto measure = [&](const QByteArray &type, const QByteArray &body) {
                deliver(1, type, body);
                rest(fade);
                longest = std::max(longest, milliseconds(application_.longestBlock()));
            };
            for (const QByteArray &text : texts)
                measure("text", text);
            measure("doodle", "data:image/png;base64," + QByteArray(2'000'000, 'A'));
            blocks.push_back(longest);
            turnUntil([] { return PopupManager::shared().panels().empty(); });
        }
        reportRounds("hostile_longest_block_ms", blocks);
    }

private:
    StopwatchApplication &application_;
    ReplyServer server_;
    HastyQueue queue_;
    SystemScreen screen_;
    FloatingCards cards_{queue_, screen_};
    std::shared_ptr<Store> store_;
    int nextBeam_ = 0;
};

} // namespace

int main(int argc, char **argv)
{
    StopwatchApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    warmUpCards();
    Bench bench(application);
    bench.oneCard();
    bench.twentyCards();
    bench.history("history_2_mb_longest_block_ms", 100'000);
    bench.history("history_40_mb_longest_block_ms", 2'000'000);
    bench.hostile();
    // The bench is over; what is under way need not end.
    std::_Exit(0);
}
