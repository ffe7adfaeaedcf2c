#include "Fluvane/Commands/CommandCenter.h"

#include "FluvaneCore/Text.h"
#include "FluvaneCore/Words.h"

#include <algorithm>
#include <exception>
#include <limits>

namespace fluvane {

namespace {

constexpr double bytesPerMegabyte = 1'000'000;

std::string limitText(const std::optional<std::int64_t>& bytesPerSecond) {
    return bytesPerSecond ? "Up to " + Words::speed(static_cast<double>(*bytesPerSecond)) : "No limit";
}

/// Bytes per second; absent when the text is no speed. What 64 bits don't hold is as good as the most they
/// do.
std::optional<std::int64_t> speedFrom(std::string text) {
    std::ranges::replace(text, ',', '.');
    const auto megabytes = text::decimalNumber(text);
    if (!megabytes || !(*megabytes > 0)) {
        return std::nullopt;
    }
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    const double bytes = *megabytes * bytesPerMegabyte;
    return bytes < static_cast<double>(most) ? static_cast<std::int64_t>(bytes) : most;
}

template <class Work>
Reply replyOf(std::string text, Work work) {
    try {
        work();
        return {.ok = true, .text = std::move(text)};
    } catch (const std::exception& error) {
        return {.ok = false, .text = error.what()};
    }
}

} // namespace

Reply CommandCenter::limit(const Arguments& arguments) {
    if (arguments.empty()) {
        return {.ok = true, .text = limitText(settings_.config().speedLimit)};
    }
    const std::string word = text::lowercased(arguments[0]);
    if (word == "off" || word == "none" || word == "0") {
        return setLimit(std::nullopt);
    }
    const auto speed = speedFrom(arguments[0]);
    if (!speed) {
        return {.ok = false, .text = "Give a speed in MB/s, like 5 or 0.5, or off: fluvane limit 5"};
    }
    return setLimit(speed);
}

Reply CommandCenter::setLimit(std::optional<std::int64_t> bytesPerSecond) {
    Config config = settings_.config();
    config.speedLimit = bytesPerSecond;
    config.clamp();
    return replyOf(limitText(config.speedLimit), [&] { settings_.update(config); });
}

Reply CommandCenter::exportSettings(const Arguments& arguments) {
    if (!arguments.empty()) {
        return replyOf("Exported settings to " + arguments[0], [&] { settings_.exportTo(arguments[0]); });
    }
    std::string text;
    Reply reply = replyOf("", [&] { text = settings_.exportText(); });
    if (text.ends_with('\n')) {
        text.pop_back(); // the client ends what it prints
    }
    reply.text += text;
    return reply;
}

Reply CommandCenter::importSettings(const Arguments& arguments) {
    if (arguments.empty()) {
        return {.ok = false, .text = "Say which file to import: fluvane import <file>"};
    }
    return replyOf("Imported settings from " + arguments[0], [&] { settings_.importFrom(arguments[0]); });
}

} // namespace fluvane
