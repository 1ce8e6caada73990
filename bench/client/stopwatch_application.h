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

    /// Begins to count cards and to measure blocks afresh. A card is a widget of this class.
    void reset(const char *cardClass = "kivolo::IncomingBeamView");
    /// How many cards have been painted for the first time since, and when the latest was there,
    /// that is, when the event that painted it had been handled to its end, the way to the X server
    /// included. Those painted earlier may fade and move meanwhile; that does not count.
    int cardsPainted() const { return cardsPainted_; }
    Clock::time_point lastCardPainted() const { return lastCardPainted_; }
    /// The longest time that the main thread spent on one event, from the event loop's taking it
    /// until its return there.
    Clock::duration longestBlock() const { return longestBlock_; }

private:
    const char *cardClass_ = "";
    int depth_ = 0;
    bool paintedNow_ = false;
    int cardsPainted_ = 0;
    Clock::time_point lastCardPainted_;
    Clock::duration longestBlock_{0};
};
