// Where one starts a circle or joins one.
#pragma once

#include "style/stack.h"

#include <memory>

namespace kivolo {

class Field;
class Store;
class Text;

/// Asks for a name and an invite code. Both are the store's own: another window over the same store
/// shows at once what is typed here.
class OnboardingView : public Stack
{
    Q_OBJECT
public:
    explicit OnboardingView(std::shared_ptr<Store> store);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void bindFields();
    void join();
    void render();

    std::shared_ptr<Store> store_;
    Field *name_;
    Field *code_;
    Text *error_;
};

} // namespace kivolo
