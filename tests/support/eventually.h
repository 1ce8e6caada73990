// Waiting for what the event loop has still to do.
#pragma once

#include <QTest>

namespace kivolo {

/// Turns the event loop until `condition` holds. False when it does not within twenty seconds,
/// which is there to fail instead of hanging.
template<typename Condition>
bool eventually(Condition condition)
{
    return QTest::qWaitFor(std::move(condition), 20'000);
}

} // namespace kivolo
