// Copying the invite code, and saying so for a moment.
#pragma once

#include <QObject>
#include <functional>
#include <memory>

namespace kivolo {

class MainQueue;
class Store;

/// What a view has that offers to copy its circle's invite code.
class InviteCodeCopy : public QObject
{
    Q_OBJECT
public:
    /// `changed` is called whenever isConfirmed() has another value.
    InviteCodeCopy(std::shared_ptr<Store> store, MainQueue &queue, std::function<void()> changed);

    void copy();
    /// For 1.5 seconds after a copy. The end of the first ends the confirmation of a second, too.
    bool isConfirmed() const { return confirmed_; }

private:
    void setConfirmed(bool confirmed);

    std::shared_ptr<Store> store_;
    MainQueue &queue_;
    std::function<void()> changed_;
    bool confirmed_ = false;
};

} // namespace kivolo
