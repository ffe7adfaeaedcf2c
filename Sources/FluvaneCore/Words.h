#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The one place for the wording of sizes, speeds, times and states.
namespace fluvane::Words {

/// Decimal units with at most one decimal: "0 bytes", "1 byte", "16 KB", "1.2 GB".
[[nodiscard]] std::string bytes(std::int64_t count);
/// "5 MB/s"
[[nodiscard]] std::string speed(double bytesPerSecond);
/// "about 3 minutes left"; `seconds` as estimated.
[[nodiscard]] std::string timeLeft(double seconds);
/// "37 %" without rounding up to 100 before the end; `fraction` from 0 to 1.
[[nodiscard]] std::string percent(double fraction);
/// "1 connection", "8 connections"
[[nodiscard]] std::string connections(std::int64_t count);

/// What a person reads for a state, by its name in the list ("link-expired"); `reason` is a failure's sentence.
[[nodiscard]] std::string state(std::string_view stateName, std::string_view reason = {});
/// What a person is told when the finished file isn't the one its checksum describes; `folder` as shown.
[[nodiscard]] std::string checksumMismatch(std::string_view algorithmName, std::string_view folder);

} // namespace fluvane::Words
