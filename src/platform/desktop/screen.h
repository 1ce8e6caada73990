// The part of the desktop that windows may use.
#pragma once

#include "platform/desktop/geometry.h"

#include <QObject>
#include <memory>
#include <optional>

namespace kivolo {

namespace window_system {
class Watch;
}

/// The main screen. Main thread only.
class Screen : public QObject
{
    Q_OBJECT
public:
    /// The main screen without its panels and docks, read afresh at each call; absent while no
    /// screen is connected.
    virtual std::optional<Rect> visibleFrame() const = 0;

Q_SIGNALS:
    /// Another screen is the main one, or it has another size, place or visible frame. Emitted from
    /// the event loop, once however much has changed.
    void changed();
};

/// The screen that the window system calls its primary one.
class SystemScreen final : public Screen
{
    Q_OBJECT
public:
    SystemScreen();
    ~SystemScreen() override;

    std::optional<Rect> visibleFrame() const override;

private:
    void followPrimary();
    void tell();

    std::unique_ptr<QObject> following_; // the context of what follows the primary screen
    std::unique_ptr<window_system::Watch> workArea_;
    bool telling_ = false;
};

} // namespace kivolo
