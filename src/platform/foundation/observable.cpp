#include "platform/foundation/observable.h"

#include <memory>

namespace kivolo {

void observe(const ObservableObject &object, QObject *observer, std::function<void()> render)
{
    auto pending = std::make_shared<bool>(false);
    QObject::connect(&object, &ObservableObject::objectWillChange, observer,
                     [observer, pending, render = std::move(render)] {
                         if (std::exchange(*pending, true))
                             return;
                         QMetaObject::invokeMethod(
                             observer,
                             [pending, render] {
                                 *pending = false;
                                 render();
                             },
                             Qt::QueuedConnection);
                     });
}

} // namespace kivolo
