#pragma once

#include "FluvaneCore/URL.h"

#include <string>

namespace fluvane {

/// A folder as a person knows it: "~/Downloads" in the home, the whole path elsewhere. In one line.
[[nodiscard]] std::string folderText(const URL& folder);

} // namespace fluvane
