#pragma once

#include <chrono>

namespace fluvane {

/// Monotonic seconds; only differences matter.
[[nodiscard]] inline double uptime() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace fluvane
