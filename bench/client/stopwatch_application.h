// An application that knows when a card was painted and how long the main thread was away.
#pragma once

#include <QApplication>
#include <chrono>

using Clock = std::chrono::steady_clock;

class StopwatchApplication : public QApplication
{
public:
    using QApplication::QApplication;

    bool notify(QObject *receiver, QEvent *event) override;

    /// Forgets the cards painted and the blocks measured so far. A card is a widget of this class.
    void reset(const char *cardClass = "kivolo::IncomingBeamView");
    /// How many distinct cards have been painted, and when the latest was there, that is, when the
    /// event that painted it had been handled to its end, the way to the X server included.
    int cardsPainted() const { return static_cast<int>(painted_.size()); }
    Clock::time_point lastCardPainted() const { return lastCardPainted_; }
    /// The longest time that the main thread spent on one event, from the event loop's taking it
    /// until its return there.
    Clock::duration longestBlock() const { return longestBlock_; }

private:
    const char *cardClass_ = "";
    int depth_ = 0;
    bool paintedNow_ = false;
    QList<QObject *> painted_;
    Clock::time_point lastCardPainted_;
    Clock::duration longestBlock_{0};
};
