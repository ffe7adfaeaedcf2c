// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/DetailWords.h"

#include "FluvaneCore/Words.h"

#include <algorithm>

namespace fluvane::words {

using State = DownloadState;

namespace {

bool isEnding(const State& state) {
    return state.is<State::Verifying>() || state.is<State::Finishing>() || state.is<State::Finished>();
}

} // namespace

std::string advice(const DownloadRecord& record) {
    if (!record.state.failure()) {
        return {};
    }
    if (record.opensWebPage.value_or(false)) {
        return "Start the download on that page in your browser, copy the file's own link there, and paste "
               "it "
               "with Change Link…";
    }
    const std::string again = record.resumable && record.doneBytes() > 0
                                  ? "Try Again carries on with what's downloaded"
                                  : "Try Again downloads it from the start";
    return again + "; if the link no longer works, paste a fresh one with Change Link…";
}

std::string resumability(const DownloadRecord& record) {
    if (isEnding(record.state)) {
        return {};
    }
    if (record.pieces.empty()) {
        return "Known once it starts";
    }
    return record.resumable ? "Yes, a pause keeps what's downloaded"
                            : "No, after a pause it starts over: the server sends it only as a whole";
}

std::string checksumStanding(const DownloadRecord& record) {
    if (!record.checksum) {
        return {};
    }
    if (record.checksumResult) {
        return record.checksumResult->matches() ? "Matches" : "Doesn't match";
    }
    if (record.state.is<State::Finished>()) {
        return "Checking the finished file";
    }
    return record.state.is<State::Verifying>() ? "Being checked" : "Checked once every byte is in";
}

std::string exactBytes(std::int64_t count) {
    std::string digits = std::to_string(std::max<std::int64_t>(count, 0));
    for (std::size_t from = digits.size(); from > 3; from -= 3) {
        digits.insert(from - 3, ",");
    }
    return digits + (count == 1 ? " byte" : " bytes");
}

std::string piece(const PieceProgress& progress) {
    const std::string name = "Piece " + std::to_string(progress.number) + ": ";
    if (progress.length && progress.done >= *progress.length) {
        return name + bytes(*progress.length) + ", done";
    }
    std::string text =
        name + bytes(progress.done) + (progress.length ? " of " + bytes(*progress.length) : "");
    if (!progress.connection) {
        return text + ", waiting for a connection";
    }
    return text + ", connection " + std::to_string(*progress.connection) + ", " +
           speed(progress.bytesPerSecond);
}

std::string pieces(std::size_t count, std::size_t done) {
    if (count == 1) {
        return done == 1 ? "1 piece, done" : "1 piece";
    }
    const std::string all = std::to_string(count) + " pieces";
    return done == 0       ? all
           : done == count ? all + ", all done"
                           : all + ", " + std::to_string(done) + " of them done";
}

std::string span(std::int64_t start, std::optional<std::int64_t> end) {
    return end ? bytes(start) + " to " + bytes(*end) : "from " + bytes(start) + " on";
}

std::string speeds(std::optional<double> now, double most) {
    const std::string atMost = "t most " + speed(most) + " in the last 5 minutes";
    return now ? "Now " + speed(*now) + ", a" + atMost : "A" + atMost;
}

std::string together(const Sizes& sizes) {
    if (sizes.unknownSizes == 0) {
        return bytes(sizes.done) + " of " + bytes(sizes.size);
    }
    const std::string unknown = std::to_string(sizes.unknownSizes) + " whose size isn't known yet";
    return sizes.size == 0 ? unknown : bytes(sizes.done) + " of " + bytes(sizes.size) + ", and " + unknown;
}

} // namespace fluvane::words
