// Observable state: an owner that announces changes, and properties that announce through it.
#pragma once

#include <QObject>
#include <functional>
#include <utility>

namespace kivolo {

/// Owner of published state. Lives on, and is changed on, the main thread.
class ObservableObject : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

Q_SIGNALS:
    /// A published property is about to change; its old value can still be read. An observer
    /// that wants the new one looks again at the next turn of the event loop.
    void objectWillChange();
};

/// Calls `render` after changes of `object`: at the next turn of the event loop, when the new
/// values can be read, and once however many there were. Ends with `observer`.
void observe(const ObservableObject &object, QObject *observer, std::function<void()> render);

/// A property that announces each assignment through its owner before it happens, also one
/// that assigns an equal value.
template<typename T>
class Published
{
public:
    /// `owner` is the object this property is a member of.
    Published(ObservableObject *owner, T initial = {})
        : owner_(owner)
        , value_(std::move(initial))
    {}
    Published(const Published &) = delete;
    Published &operator=(const Published &) = delete;

    const T &get() const { return value_; }
    operator const T &() const { return value_; } // NOLINT(google-explicit-constructor)
    const T *operator->() const { return &value_; }
    const T &operator*() const { return value_; }

    Published &operator=(T value)
    {
        Q_EMIT owner_->objectWillChange();
        value_ = std::move(value);
        return *this;
    }

    /// Changes the value in place, for one too large to be copied at each change.
    template<typename Change>
    void mutate(Change &&change)
    {
        Q_EMIT owner_->objectWillChange();
        std::forward<Change>(change)(value_);
    }

private:
    ObservableObject *owner_;
    T value_;
};

} // namespace kivolo
