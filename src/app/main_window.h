// The program's one ordinary window.
#pragma once

#include <QMargins>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

namespace kivolo {

/// At least 420 × 560 points and 520 × 720 at first; on a screen that has less, as large as that
/// leaves room. Closing hides it, and when it is shown again it is as it was. Main thread only.
class MainWindow final : public QWidget
{
    Q_OBJECT
public:
    using ContentFactory = std::function<std::unique_ptr<QWidget>()>;

    /// `makeContent` is called when the window is first shown.
    explicit MainWindow(ContentFactory makeContent);

Q_SIGNALS:
    /// The window has been painted for the first time.
    void painted();

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void makeContent();
    void followScreen();
    void fitToScreen();
    void rememberPlace();
    void standAt(const QPoint &place);
    void correctPlace();
    QPoint onScreen(const QRect &window) const;

    ContentFactory makeContent_;
    bool hasBeenPainted_ = false;
    std::optional<QPoint> place_;  // where its content stood when it was last hidden
    QMargins frame_;               // and what the window manager had put around it
    std::optional<QPoint> wanted_; // where it is to come back, until that is certain
    QMetaObject::Connection screenArea_;
};

} // namespace kivolo
