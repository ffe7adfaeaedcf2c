#pragma once

#include <string_view>

namespace fluvane {

/// What `fluvane help` prints, without the last line feed.
[[nodiscard]] std::string_view usageText();

} // namespace fluvane
