// All that is left of a version that is no longer served.
#pragma once

#include "style/stack.h"

namespace kivolo {

/// Offers the download at `url`, and nothing else.
class ForceUpdateView : public Stack
{
    Q_OBJECT
public:
    explicit ForceUpdateView(const QString &url);
};

} // namespace kivolo
