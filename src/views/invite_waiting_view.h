// Shown to a member who is alone in the circle.
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

/// Presents the invite code. While it is shown it asks for the members every 3 seconds, until there
/// is a second one.
class InviteWaitingView : public Stack
{
    Q_OBJECT
public:
    /// `queue` must outlive the event loop.
    InviteWaitingView(std::shared_ptr<Store> store, MainQueue &queue);

private:
    Stack *headerBand();
    Button *codeBox();
    void render();

    std::shared_ptr<Store> store_;
    InviteCodeCopy codeCopy_;

    Button *codeButton_;
    Text *code_;
    Label *hint_;
    Text *waiting_;
};

} // namespace kivolo
