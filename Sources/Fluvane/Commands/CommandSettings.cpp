// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Commands/CommandCenter.h"

#include "FluvaneCore/SpeedLimit.h"
#include "FluvaneCore/Text.h"
#include "FluvaneCore/Words.h"
#include "TessivarPhrases/Phrases.h"

#include <exception>

namespace fluvane {

namespace {

std::string limitText(const std::optional<std::int64_t>& bytesPerSecond) {
    const tessivar::InEnglish english;
    return bytesPerSecond ? "Up to " + words::speed(static_cast<double>(*bytesPerSecond)) : "No limit";
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
    const auto speed = speedLimit::parsed(arguments[0]);
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
