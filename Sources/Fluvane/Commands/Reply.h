// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <functional>
#include <string>

namespace fluvane {

/// The answer to a command: what the client prints, on standard error unless `ok`. The text may be empty.
struct Reply {
    bool ok = true;
    std::string text{};
    friend bool operator==(const Reply&, const Reply&) = default;
};

using ReplyCompletion = std::function<void(Reply)>;

} // namespace fluvane
