// One view in place of another.
#pragma once

#include <QVariantAnimation>
#include <QWidget>

namespace kivolo {

/// As large as there is room. Shows one view at a time; the next appears while the one before it
/// fades away.
class CrossFade : public QWidget
{
    Q_OBJECT
public:
    CrossFade();

    /// Takes and shows `view`, and destroys the one before it once it is out of sight.
    void replace(QWidget *view);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void blend(qreal progress);
    void finish();

    QWidget *shown_ = nullptr;
    QWidget *leaving_ = nullptr;
    QVariantAnimation fade_;
};

} // namespace kivolo
