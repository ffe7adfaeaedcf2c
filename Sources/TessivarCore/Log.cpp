// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TessivarCore/Log.h"

#include "TessivarCore/FileSystem.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tessivar {

std::atomic<bool> Log::detailed = false;
std::atomic<bool> Log::debug = false;

namespace {

// Constructed on first use, so that a message logged while statics are still being built finds it.
Log::Sink& sink() {
    static Log::Sink current;
    return current;
}

} // namespace

void Log::setSink(Sink replacement) {
    sink() = std::move(replacement);
}

void Log::error(std::string_view message, const std::exception& reason) const {
    const bool isPlain = dynamic_cast<const SystemError*>(&reason) != nullptr;
    error(std::string(message) + ": " + (isPlain ? reason.what() : log::hidden(reason.what())));
}

void Log::write(Level level, std::string_view message) const {
    if (const auto& to = sink()) {
        to(level, category_, message);
    }
}

namespace log {

namespace {

bool isMark(char character) {
    return character == hiddenBegins || character == hiddenEnds;
}

} // namespace

std::string hidden(std::string_view part) {
    std::string marked(1, hiddenBegins);
    std::ranges::remove_copy_if(part, std::back_inserter(marked), isMark);
    return marked + hiddenEnds;
}

std::string shown(std::string_view message) {
    std::string text(message);
    std::erase_if(text, isMark);
    return text;
}

std::string withoutHidden(std::string_view message) {
    std::string text;
    while (!message.empty()) {
        const auto begin = std::min(message.find(hiddenBegins), message.size());
        text += message.substr(0, begin);
        message.remove_prefix(begin);
        if (!message.empty()) {
            text += "…";
            message.remove_prefix(std::min(message.find(hiddenEnds), message.size() - 1) + 1);
        }
    }
    return text;
}

} // namespace log

} // namespace tessivar
