#pragma once

#include <string_view>

namespace fluvane::NetworkReach {

/// Whether there is a way out of this machine and the networks next to it: a default route that works. True
/// when that can't be found out. From any thread; doesn't block.
[[nodiscard]] bool beyondThisMachine();
/// Whether a host's name or address means this machine itself.
[[nodiscard]] bool isLoopback(std::string_view host);

} // namespace fluvane::NetworkReach
