// Floating windows that never take the keyboard.
#pragma once

#include "platform/desktop/geometry.h"
#include "platform/desktop/panel_content.h"
#include "platform/foundation/main_queue.h"

#include <QWidget>
#include <functional>
#include <memory>

namespace kivolo {

class PanelWindow;

/// A borderless window that floats above all others on every virtual desktop, beside full-screen
/// windows too, is in no task bar or window cycle, and never takes the focus. Main thread only.
///
/// One widget fills it. The window and its content are made when the panel is first ordered in:
/// constructing a panel costs next to nothing.
class Panel final : public std::enable_shared_from_this<Panel>
{
public:
    using ContentFactory = std::function<std::unique_ptr<PanelContent>(Panel &panel)>;

    struct Options
    {
        QSize size; ///< Points.
        /// Dragging the content, wherever it does not take the mouse itself, moves the panel.
        bool movableByBackground = false;
    };

    /// An invisible panel with its origin at (0, 0) and alpha 1. `queue` drives the fades and
    /// must outlive the panel.
    Panel(const Options &options, ContentFactory makeContent, MainQueue &queue);

    /// Takes the window off the screen at once. Window and content are destroyed at the next turn
    /// of the event loop, so that the content may release its panel from inside an event.
    ~Panel();
    Panel(const Panel &) = delete;
    Panel &operator=(const Panel &) = delete;

    /// Where the panel stands, also when a drag has moved it there.
    Rect frame() const { return frame_; }
    void setFrame(const Rect &frame);
    void setFrameOrigin(Point origin);

    /// 0 is invisible, 1 opaque. Ends a running fade.
    void setAlpha(double alpha);
    double alpha() const { return alpha_; }

    /// Changes alpha evenly to `target` over `duration`, in place of a running fade.
    void fade(double target, MainQueue::Duration duration);

    /// Shows the panel above other windows without bringing the program forward.
    void orderFront();
    /// Hides the panel at once.
    void orderOut();
    bool isVisible() const;

    /// The widget shown; null before the panel is first ordered in.
    PanelContent *content() const;
    /// The window that carries it, for tests that look at the window system; null likewise.
    QWidget *window() const;

private:
    struct Fade
    {
        double from;
        double target;
        MainQueue::Duration start;
        MainQueue::Duration duration;
        std::unique_ptr<MainQueue::Repetition> ticks;
    };
    void step();
    void applyAlpha(double alpha);

    Options options_;
    ContentFactory makeContent_;
    MainQueue &queue_;
    Rect frame_;
    double alpha_ = 1;
    std::unique_ptr<Fade> fade_;
    std::unique_ptr<PanelWindow> window_;
};

} // namespace kivolo
