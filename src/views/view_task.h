// What a view does for as long as it is shown.
#pragma once

#include <QCoro/QCoroTask>
#include <QObject>
#include <functional>
#include <stop_token>

class QWidget;

namespace kivolo {

/// Starts a coroutine each time its view is shown and asks it to stop when the view goes: hidden,
/// alone or with its window, or destroyed. Belongs to the view.
class ViewTask : public QObject
{
    Q_OBJECT
public:
    using Start = std::function<QCoro::Task<>(std::stop_token)>;

    /// `start` is called from the event that shows the view. Its coroutine must hold what it uses.
    ViewTask(QWidget *view, Start start);
    ~ViewTask() override;

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    Start start_;
    std::stop_source running_{std::nostopstate};
};

} // namespace kivolo
