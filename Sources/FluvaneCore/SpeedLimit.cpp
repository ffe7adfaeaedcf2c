// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/SpeedLimit.h"

#include "FluvaneCore/Text.h"
#include "TessivarPhrases/Language.h"

#include <algorithm>
#include <limits>

namespace fluvane::speedLimit {

namespace {

constexpr std::int64_t bytesPerMegabyte = 1'000'000;
constexpr std::size_t decimals = 6;

} // namespace

std::optional<std::int64_t> parsed(std::string_view text) {
    std::string number(text);
    std::ranges::replace(number, ',', '.');
    const auto megabytes = text::decimalNumber(number);
    if (!megabytes || !(*megabytes > 0)) {
        return std::nullopt;
    }
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    const double bytes = *megabytes * static_cast<double>(bytesPerMegabyte);
    return bytes < static_cast<double>(most) ? static_cast<std::int64_t>(bytes) : most;
}

std::string typed(std::int64_t bytesPerSecond) {
    std::string fraction = std::to_string(bytesPerSecond % bytesPerMegabyte);
    fraction.insert(0, decimals - fraction.size(), '0');
    const std::string exact = std::to_string(bytesPerSecond / bytesPerMegabyte) + "." + fraction;
    std::string shortest = exact;
    shortest.erase(shortest.find_last_not_of('0') + 1);
    if (shortest.ends_with('.')) {
        shortest.pop_back();
    }
    // A binary fraction may fall short of the decimal one, and is cut to the byte below: half a byte helps.
    std::string text = parsed(shortest) == bytesPerSecond ? shortest : exact + "5";
    std::ranges::replace(text, '.', tessivar::decimalMark() == "," ? ',' : '.');
    return text;
}

} // namespace fluvane::speedLimit
