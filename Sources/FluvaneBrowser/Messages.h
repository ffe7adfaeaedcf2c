// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Native messaging: each message is UTF-8 behind its length in 4 bytes, in the machine's order.
namespace fluvane::browser {

inline constexpr std::size_t longestMessage = 1024 * 1024;

/// Cuts what arrives into messages.
class MessageReader {
public:
    void feed(std::string_view bytes);
    /// The next whole message.
    [[nodiscard]] std::optional<std::string> next();
    /// Something longer than any message was announced: nothing that follows can be read.
    [[nodiscard]] bool isLost() const { return isLost_; }

private:
    std::string waiting_;
    bool isLost_ = false;
};

[[nodiscard]] std::string framed(std::string_view message);

} // namespace fluvane::browser
