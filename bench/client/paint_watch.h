// Waiting for a window to be painted.
#pragma once

#include <QCoreApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QObject>
#include <chrono>

/// Knows whether what it watches has been painted since it last waited or forgot.
class PaintWatch final : public QObject
{
public:
    void watch(QObject *widget) { widget->installEventFilter(this); }
    void forget() { painted_ = false; }

    /// Turns the event loop until the painting is over and the X server has it.
    void await()
    {
        using namespace std::chrono_literals;
        const auto deadline = std::chrono::steady_clock::now() + 60s;
        while (!painted_) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            if (std::chrono::steady_clock::now() > deadline)
                qFatal("nothing was painted for a minute");
        }
        QGuiApplication::sync();
        painted_ = false;
    }

private:
    bool eventFilter(QObject *, QEvent *event) override
    {
        painted_ = painted_ || event->type() == QEvent::Paint;
        return false;
    }

    bool painted_ = false;
};
