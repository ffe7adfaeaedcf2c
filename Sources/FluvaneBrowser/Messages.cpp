// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneBrowser/Messages.h"

#include <cstdint>
#include <cstring>

namespace fluvane::browser {

namespace {
using Length = std::uint32_t;
}

void MessageReader::feed(std::string_view bytes) {
    if (!isLost_) {
        waiting_ += bytes;
    }
}

std::optional<std::string> MessageReader::next() {
    Length length = 0;
    if (isLost_ || waiting_.size() < sizeof length) {
        return std::nullopt;
    }
    std::memcpy(&length, waiting_.data(), sizeof length);
    isLost_ = length > longestMessage;
    if (isLost_ || waiting_.size() - sizeof length < length) {
        return std::nullopt;
    }
    auto message = waiting_.substr(sizeof length, length);
    waiting_.erase(0, sizeof length + length);
    return message;
}

std::string framed(std::string_view message) {
    const auto length = static_cast<Length>(message.size());
    std::string bytes(sizeof length, '\0');
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes.append(message);
}

} // namespace fluvane::browser
