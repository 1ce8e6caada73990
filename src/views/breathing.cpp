#include "views/breathing.h"

#include "style/text.h"
#include "style/theme.h"

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QEvent>
#include <QTimerEvent>
#include <cmath>
#include <numbers>

namespace kivolo {

namespace {

constexpr double smallest = 0.97;
constexpr double largest = 1.05;
constexpr double breath = 1300; // milliseconds from the one to the other
constexpr int frame = 33;       // milliseconds; a movement this slow needs no more

class Breathing final : public QObject
{
public:
    explicit Breathing(Illustration *illustration)
        : QObject(illustration)
        , illustration_(illustration)
    {
        illustration->installEventFilter(this);
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Show && !Theme::shared().reducesMotion()) {
            clock_.start();
            breathe(); // before anything is seen
            timer_.start(frame, this);
        } else if (event->type() == QEvent::Hide) {
            timer_.stop();
        }
        return QObject::eventFilter(watched, event);
    }

protected:
    void timerEvent(QTimerEvent *) override
    {
        if (Theme::shared().reducesMotion()) {
            timer_.stop();
            illustration_->setScale(1);
            return;
        }
        breathe();
    }

private:
    /// Eases in and out of both ends.
    void breathe()
    {
        const double phase = std::numbers::pi * double(clock_.elapsed()) / breath;
        illustration_->setScale(std::lerp(smallest, largest, (1 - std::cos(phase)) / 2));
    }

    Illustration *illustration_;
    QElapsedTimer clock_;
    QBasicTimer timer_;
};

} // namespace

Illustration *breathing(Illustration *illustration)
{
    new Breathing(illustration);
    return illustration;
}

} // namespace kivolo
