// Who has started the server and looks after it.
#pragma once

#include <string_view>

namespace kivolo::server {

/// Whether somebody waits to be told how the server is, as a service manager does.
bool isSupervised();

/// Tells whoever that is, in the words of sd_notify(3): "READY=1". What cannot be told is not.
void tellSupervisor(std::string_view state);

} // namespace kivolo::server
