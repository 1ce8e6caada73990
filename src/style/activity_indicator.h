// Says that something is going on.
#pragma once

#include <QBasicTimer>
#include <QWidget>

namespace kivolo {

/// An arc that turns while it is shown, for as long as it takes.
class ActivityIndicator : public QWidget
{
    Q_OBJECT
public:
    enum class ControlSize { Small, Regular };
    explicit ActivityIndicator(ControlSize size);

protected:
    void paintEvent(QPaintEvent *event) override;
    void timerEvent(QTimerEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    QBasicTimer timer_;
    int step_ = 0;
};

} // namespace kivolo
