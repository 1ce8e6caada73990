// Offers a newer version.
#pragma once

#include "style/stack.h"

#include <functional>

namespace kivolo {

struct VersionInfo;

/// A strip above the current screen, which opens the download or can be dismissed.
class UpdateBanner : public Stack
{
    Q_OBJECT
public:
    UpdateBanner(const VersionInfo &info, std::function<void()> onDismiss);
};

} // namespace kivolo
