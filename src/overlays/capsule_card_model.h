// The countdown that a capsule's card shows.
#pragma once

#include "platform/foundation/observable.h"

namespace kivolo {

/// Shared between the manager, which sets it once a second, and the card, which observes it.
class CapsuleCardModel final : public ObservableObject
{
    Q_OBJECT
public:
    explicit CapsuleCardModel(qint64 seconds)
        : remaining(this, seconds)
    {}

    /// Seconds until the capsule opens, never negative.
    Published<qint64> remaining;
};

} // namespace kivolo
