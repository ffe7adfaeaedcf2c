// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Comparison.h"

#include <algorithm>
#include <vector>

namespace fluvane {

void Comparison::write(std::span<const std::byte> bytes, std::int64_t at) {
    std::vector<std::byte> there(bytes.size());
    with_->read(there, at);
    if (!std::ranges::equal(bytes, there)) {
        equal_ = false;
    }
}

} // namespace fluvane
