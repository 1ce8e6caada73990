// Something that goes on for as long as somebody holds it.
#pragma once

namespace kivolo::window_system {

/// Something that is done until this is destroyed.
class Watch
{
public:
    virtual ~Watch() = default;
};

} // namespace kivolo::window_system
