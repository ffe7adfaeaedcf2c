#pragma once

#include <string_view>

namespace fluvane::NetworkReach {

/// Whether any interface but the loopback is up, has a carrier, and an address that reaches beyond its link.
/// True when that can't be found out. From any thread; doesn't block.
[[nodiscard]] bool beyondThisMachine();
/// Whether a host's name or address means this machine itself.
[[nodiscard]] bool isLoopback(std::string_view host);

} // namespace fluvane::NetworkReach
