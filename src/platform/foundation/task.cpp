#include "platform/foundation/task.h"

#include <exception>

namespace kivolo {

namespace {

QCoro::Task<> watch(QCoro::Task<> task, const char *what)
{
    try {
        co_await task;
    } catch (const std::exception &error) {
        qCritical("%s failed: %s", what, error.what());
    }
}

} // namespace

void detach(QCoro::Task<> task, const char *what)
{
    watch(std::move(task), what);
}

} // namespace kivolo
