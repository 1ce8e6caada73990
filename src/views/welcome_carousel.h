// The slides that greet a new user.
#pragma once

#include "style/stack.h"

#include <QList>
#include <functional>

namespace kivolo {

class Button;
class CrossFade;
class Text;

/// Four slides, one at a time. Return goes on, the arrow keys turn the pages.
class WelcomeCarousel : public Stack
{
    Q_OBJECT
public:
    /// `onDone` is called when the user goes on from the last slide.
    explicit WelcomeCarousel(std::function<void()> onDone);

protected:
    void showEvent(QShowEvent *event) override;

private:
    struct Slide
    {
        QString image;
        QString title;
        QString body;
    };
    static QWidget *slideArea(const Slide &slide);
    Stack *pageDots();
    void bindKeys();
    void goForward();
    void turnTo(qsizetype index);
    void render();

    const QList<Slide> slides_;
    const std::function<void()> onDone_;
    qsizetype i_ = 0;

    CrossFade *area_;
    QList<Stack *> dots_;
    Button *back_;
    Button *forward_;
    Text *forwardText_;
};

} // namespace kivolo
