// What fills a floating window in tests of the window.
#pragma once

#include "platform/desktop/panel_content.h"

namespace kivolo {

class BlankContent final : public PanelContent
{
public:
    void setBlending(Blending) override {}
};

} // namespace kivolo
