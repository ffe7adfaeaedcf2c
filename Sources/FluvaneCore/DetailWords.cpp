// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/DetailWords.h"

#include "FluvaneCore/Words.h"
#include "TessivarPhrases/Language.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>
#include <utility>

namespace fluvane::words {

using State = DownloadState;
using tessivar::marked;
using tessivar::phrase;
using tessivar::phrases;

namespace {

bool isEnding(const State& state) {
    return state.is<State::Verifying>() || state.is<State::Finishing>() || state.is<State::Finished>();
}

struct Remedy {
    std::string_view failure; ///< A part of its sentence as it is kept.
    std::string_view words;   ///< %1 is the folder.
    bool isElsewhere = false; ///< Another folder may do, too.
};

/// What a person can do about a failure before trying again; null for most, where trying again or a fresh
/// link is all that there is.
const Remedy* remedyOf(std::string_view failure) {
    static constexpr Remedy remedies[] = {
        {"Not enough space", marked("That disk is too small for it: use Change Folder…"), true},
        {"No space left", marked("Free some space on that disk first, or use Change Folder…"), true},
        {"quota exceeded",
         marked("You have used up what you may store there: delete something first, or use Change Folder…"),
         true},
        {"may be on a drive that isn't connected",
         marked("Connect the drive, or bring the file back to “%1”, first."), true},
        {"Permission denied",
         marked("You may not write to “%1”: change what it allows first, or use Change Folder…"), true},
        {"Read-only file system",
         marked("The disk of “%1” can't be written to: put that right first, or use Change Folder…"), true},
        {"File too large", marked("The disk can't hold so large a file: use Change Folder…"), true},
        {"Too many open files", marked("Too much is open at once: let some downloads end first.")},
        {"certificate isn't valid yet",
         marked("Your computer's clock may be wrong: look at the date first.")},
        {"certificate",
         marked("Nothing is taken from a server that can't prove who it is. Ask whoever runs it, or "
                "use a network that you trust.")},
        {"Couldn't connect", marked("The server may be down, or the link may name the wrong one.")},
        {"wasn't found.", marked("The link may be mistyped, or the server is gone.")},
        {"You may have to sign in", marked("Open any page in your browser to sign in first.")},
        {"file isn't there (",
         marked("The file may have moved: look for it on the page that led to it, and use "
                "Change Link…")},
        {"refused to send the file",
         marked("It may want you to sign in: copy a fresh link in your browser, and use "
                "Change Link…")},
    };
    const auto isOf = [failure](const Remedy& row) {
        return failure.find(row.failure) != std::string_view::npos;
    };
    const auto* const found = std::ranges::find_if(remedies, isOf);
    return found == std::end(remedies) ? nullptr : found;
}

/// Alone, and with a remedy before it, which ends in a stop or an ellipsis.
std::string tryAgain(const DownloadRecord& record, const std::string& remedy) {
    if (record.resumable && record.doneBytes() > 0) {
        const std::string kept = bytes(record.doneBytes());
        return remedy.empty()
                   ? phrase("Try Again carries on after the %1 that are kept; if the link no longer works, "
                            "paste a fresh one with Change Link…",
                            kept)
                   : remedy + " " + phrase("Try Again carries on after the %1 that are kept.", kept);
    }
    return remedy.empty()
               ? phrase("Try Again downloads it from the start; if the link no longer works, paste a fresh "
                        "one with Change Link…")
               : remedy + " " + phrase("Try Again downloads it from the start.");
}

} // namespace

std::string advice(const DownloadRecord& record) {
    if (record.state.isWaiting(State::Wait::space)) {
        return phrase(
            "It carries on by itself once there is room: delete something there that you don't need.");
    }
    if (!record.state.failure()) {
        return {};
    }
    if (record.opensWebPage.value_or(false)) {
        return phrase(
            "Start the download on that page in your browser, copy the file's own link there, and paste it "
            "with Change Link…");
    }
    const auto* const remedy = remedyOf(*record.state.failure());
    return tryAgain(record, remedy ? phrase(remedy->words, oneLine(record.folder.path())) : std::string());
}

bool isCuredElsewhere(const DownloadRecord& record) {
    const auto* const failure = record.state.failure();
    const auto* const remedy = failure ? remedyOf(*failure) : nullptr;
    return record.state.isWaiting(State::Wait::space) || (remedy && remedy->isElsewhere);
}

std::string resumability(const DownloadRecord& record) {
    if (isEnding(record.state)) {
        return {};
    }
    if (record.pieces.empty()) {
        return record.state.failure() ? "" : phrase("Known once it starts");
    }
    return record.resumable ? phrase("Yes, a pause keeps what's downloaded")
                            : phrase("No, after a pause it starts over: the server sends it only as a whole");
}

std::string checksumStanding(const DownloadRecord& record) {
    if (!record.checksum) {
        return {};
    }
    if (record.checksumResult) {
        return record.checksumResult->matches() ? phrase("Matches") : phrase("Doesn't match");
    }
    if (record.state.is<State::Finished>()) {
        return phrase("Checking the finished file");
    }
    return record.state.is<State::Verifying>() ? phrase("Being checked")
                                               : phrase("Checked once every byte is in");
}

std::string exactBytes(std::int64_t count) {
    std::string digits = std::to_string(std::max<std::int64_t>(count, 0));
    for (std::size_t from = digits.size(); from > 3; from -= 3) {
        digits.insert(from - 3, tessivar::digitGroupMark());
    }
    // Translators: %2 is the number with marks between its digits, "1,234,567".
    return phrases("%2 byte", "%2 bytes", count, tessivar::Figure{digits});
}

std::string piece(const PieceProgress& progress) {
    const auto number = progress.number;
    if (progress.length && progress.done >= *progress.length) {
        return phrase("Piece %1: %2, done", number, bytes(*progress.length));
    }
    const auto amount = progress.length ? phrase("%1 of %2", bytes(progress.done), bytes(*progress.length))
                                        : bytes(progress.done);
    if (!progress.connection) {
        return phrase("Piece %1: %2, waiting for a connection", number, amount);
    }
    return phrase("Piece %1: %2, connection %3, %4", number, amount, *progress.connection,
                  speed(progress.bytesPerSecond));
}

std::string pieces(std::size_t count, std::size_t done) {
    if (count == 1) {
        return done == 1 ? phrase("1 piece, done") : phrase("1 piece");
    }
    if (done == 0) {
        return phrases("%1 piece", "%1 pieces", count);
    }
    return done == count ? phrases("%1 piece, all done", "%1 pieces, all done", count)
                         : phrases("%1 piece, %2 of them done", "%1 pieces, %2 of them done", count, done);
}

std::string span(std::int64_t start, std::optional<std::int64_t> end) {
    // Translators: a stretch of a file, "50 MB to 100 MB".
    return end ? tessivar::phraseIn("stretch of a file", "%1 to %2", bytes(start), bytes(*end))
               : phrase("from %1 on", bytes(start));
}

std::string speeds(std::optional<double> now, double most, int minutes) {
    return now ? phrases("Now %2, at most %3 in the last minute", "Now %2, at most %3 in the last %1 minutes",
                         minutes, speed(*now), speed(most))
               : phrases("At most %2 in the last minute", "At most %2 in the last %1 minutes", minutes,
                         speed(most));
}

std::string together(const Sizes& sizes) {
    if (sizes.unknownSizes == 0) {
        return phrase("%1 of %2", bytes(sizes.done), bytes(sizes.size));
    }
    return sizes.size == 0
               ? phrases("%1 whose size isn't known yet", "%1 whose size isn't known yet", sizes.unknownSizes)
               : phrases("%2 of %3, and %1 whose size isn't known yet",
                         "%2 of %3, and %1 whose size isn't known yet", sizes.unknownSizes, bytes(sizes.done),
                         bytes(sizes.size));
}

} // namespace fluvane::words
