// What scrolls where there is too little room for it.
#pragma once

#include <QScrollArea>

namespace kivolo {

/// Shows a view as wide as there is room and at least as high. Where the view needs more height, it
/// scrolls: by wheel, by keys, and to whatever the focus moves to.
class ScrollView final : public QScrollArea
{
    Q_OBJECT
public:
    /// Takes `content`.
    explicit ScrollView(QWidget *content);

    QSize minimumSizeHint() const override { return {0, 0}; }
    bool eventFilter(QObject *watched, QEvent *event) override;

protected:
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void fit();
    void showFocus(bool shown);

    bool showsFocus_ = false;
};

} // namespace kivolo
