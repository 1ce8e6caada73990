// The band above the feed: who is in the circle, and its invite code.
#pragma once

#include "style/stack.h"
#include "views/invite_code_copy.h"

#include <memory>

namespace kivolo {

class Button;
class Label;
class MainQueue;
class Store;
class Text;

/// Shows the members' avatars, a title, the number of seats, the invite code, and a menu.
class ComposeHeader : public Stack
{
    Q_OBJECT
public:
    ComposeHeader(std::shared_ptr<Store> store, MainQueue &queue);

    /// "Your circle", "You & Mia" or "You & 3 others".
    static QString titleText(const Store &store);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void render();

    std::shared_ptr<Store> store_;
    InviteCodeCopy codeCopy_;

    class Avatars;
    Avatars *avatars_;
    Text *title_;
    Text *status_;
    Label *codeLabel_;
};

} // namespace kivolo
