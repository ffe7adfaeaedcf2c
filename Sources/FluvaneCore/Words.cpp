#include "FluvaneCore/Words.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

// The command line's client links this file: it stays free of links, transfers and formatting libraries.
namespace fluvane::Words {

namespace {

constexpr double minute = 60;
constexpr double hour = 60 * minute;
constexpr double day = 24 * hour;
constexpr double year = 365 * day;

std::string counted(std::int64_t count, std::string_view unit) {
    return std::to_string(count) + " " + std::string(unit) + (count == 1 ? "" : "s");
}

/// A count of tenths, with a decimal only where there is one.
std::string tenthsText(std::uint64_t tenths) {
    const std::string whole = std::to_string(tenths / 10);
    return tenths % 10 == 0 ? whole : whole + "." + std::to_string(tenths % 10);
}

std::uint64_t roundedTenths(std::uint64_t count, std::uint64_t unit) {
    return count / unit * 10 + (count % unit * 10 + unit / 2) / unit;
}

std::string about(double amount, std::string_view single, std::string_view unit) {
    const auto count = static_cast<std::int64_t>(std::lround(amount));
    return "about " + (count <= 1 ? std::string(single) : counted(count, unit)) + " left";
}

std::int64_t wholeBytes(double count) {
    static constexpr double beyond = 9223372036854775808.0; // 2^63
    if (!(count > 0)) {
        return 0;
    }
    return count < beyond ? static_cast<std::int64_t>(std::round(count))
                          : std::numeric_limits<std::int64_t>::max();
}

constexpr std::array<std::pair<std::string_view, std::string_view>, 11> stateWords = {{
    {"queued", "Waiting its turn"},
    {"starting", "Starting"},
    {"downloading", "Downloading"},
    {"paused", "Paused"},
    {"offline", "Paused: you're offline. It picks up when you're back."},
    {"retrying", "Trying again in a moment"},
    {"link-expired", "The link expired. Paste a fresh one to carry on; nothing downloaded is lost."},
    {"limited-network",
     "Waiting for another network: you're on a hotspot or a low-data network. Resume it to download "
     "anyway."},
    {"verifying", "Checking the file"},
    {"finishing", "Finishing"},
    {"finished", "Finished"},
}};

} // namespace

std::string bytes(std::int64_t count) {
    static constexpr std::array<std::string_view, 6> units = {" KB", " MB", " GB", " TB", " PB", " EB"};
    if (count < 1000) {
        return counted(std::max<std::int64_t>(count, 0), "byte");
    }
    const auto amount = static_cast<std::uint64_t>(count);
    std::uint64_t unit = 1000;
    std::size_t index = 0;
    // Rounding may lead into the next unit: it is 1 MB, not 1000 KB.
    while (index + 1 < units.size() && roundedTenths(amount, unit) >= 10'000) {
        unit *= 1000;
        ++index;
    }
    return tenthsText(roundedTenths(amount, unit)) + std::string(units[index]);
}

std::string speed(double bytesPerSecond) {
    return bytes(wholeBytes(bytesPerSecond)) + "/s";
}

std::string timeLeft(double seconds) {
    if (!(seconds < year)) { // an endless or undefined time too
        return "more than a year left";
    }
    if (seconds < 10) {
        return "a few seconds left";
    }
    if (seconds < 55) {
        return about(std::round(seconds / 10) * 10, "", "second");
    }
    if (seconds < 59.5 * minute) {
        return about(seconds / minute, "a minute", "minute");
    }
    if (seconds < 23.5 * hour) {
        return about(seconds / hour, "an hour", "hour");
    }
    return about(seconds / day, "a day", "day");
}

std::string percent(double fraction) {
    // 0.29 of 1 is a little less than 29 hundredths in binary; that isn't 28 %.
    const double hundredths = std::floor(fraction * 100 + 1e-9);
    const int shown = fraction >= 1 ? 100 : hundredths > 0 ? static_cast<int>(std::min(hundredths, 99.0)) : 0;
    return std::to_string(shown) + " %";
}

std::string connections(std::int64_t count) {
    return counted(count, "connection");
}

std::string state(std::string_view stateName, std::string_view reason) {
    if (stateName == "failed") {
        return reason.empty() ? "Failed" : std::string(reason);
    }
    const auto known = std::find_if(stateWords.begin(), stateWords.end(),
                                    [stateName](const auto& entry) { return entry.first == stateName; });
    return std::string(known == stateWords.end() ? stateName : known->second);
}

std::string checksumMismatch(std::string_view algorithmName, std::string_view folder) {
    return "Its " + std::string(algorithmName) +
           " doesn't match the one given, so it may not be the file you meant to get. It's in " +
           std::string(folder) + "; don't open it unless you know why.";
}

} // namespace fluvane::Words
