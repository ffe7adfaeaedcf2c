// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/DetailWords.h"

#include "FluvaneCore/Words.h"

#include <algorithm>
#include <utility>

namespace fluvane::words {

using State = DownloadState;

namespace {

bool isEnding(const State& state) {
    return state.is<State::Verifying>() || state.is<State::Finishing>() || state.is<State::Finished>();
}

/// What a person can do about a failure before trying again, told by a part of its sentence; empty for most,
/// where trying again or a fresh link is all that there is.
std::string_view remedy(std::string_view failure) {
    static constexpr std::pair<std::string_view, std::string_view> remedies[] = {
        {"Not enough space", "Free some space on that disk first."},
        {"No space left", "Free some space on that disk first."},
        {"quota exceeded", "You have used up what you may store there: delete something first."},
        {"may be on a drive that isn't connected", "Connect the drive, or bring the file back, first."},
        {"Permission denied", "You may not write to the folder: change what it allows first."},
        {"Read-only file system", "The disk can't be written to: put that right first."},
        {"File too large", "The disk can't hold so large a file: download it to another folder."},
        {"Too many open files", "Too much is open at once: let some downloads end first."},
        {"certificate isn't valid yet", "Your computer's clock may be wrong: look at the date first."},
        {"certificate",
         "Nothing is taken from a server that can't prove who it is. Ask whoever runs it, or use a "
         "network that you trust."},
        {"You may have to sign in", "Open any page in your browser to sign in first."},
        {"file isn't there (",
         "The file may have moved: look for it on the page that led to it, and use Change "
         "Link…"},
        {"refused to send the file",
         "It may want you to sign in: copy a fresh link in your browser, and use Change "
         "Link…"},
    };
    const auto isOf = [failure](const auto& row) {
        return failure.find(row.first) != std::string_view::npos;
    };
    const auto* const found = std::ranges::find_if(remedies, isOf);
    return found == std::end(remedies) ? std::string_view() : found->second;
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
    const bool keeps = record.resumable && record.doneBytes() > 0;
    const std::string again =
        keeps ? "Try Again carries on after the " + words::bytes(record.doneBytes()) + " that are kept"
              : "Try Again downloads it from the start";
    const auto first = remedy(*record.state.failure());
    return first.empty() ? again + "; if the link no longer works, paste a fresh one with Change Link…"
                         : std::string(first) + " " + again + ".";
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
