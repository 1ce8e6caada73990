// Starting a coroutine that nobody awaits.
#pragma once

#include <QCoro/QCoroTask>

namespace kivolo {

/// Lets `task` run on by itself. Its coroutine must let no exception out; one that escapes all the
/// same is reported as a critical message that names `what`, never lost in silence.
void detach(QCoro::Task<> task, const char *what);

} // namespace kivolo
