// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneWatch/Phrases.h"

#include "FluvaneCore/Words.h"
#include "TessivarPhrases/Phrases.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace fluvane::watch {

using tessivar::phrase;

namespace {

std::string checksumName(const Row& row) {
    if (row.checksum.starts_with("sha256")) {
        return "SHA-256";
    }
    return row.checksum.starts_with("sha1") ? "SHA-1" : "MD5";
}

/// The row as the wording takes it; what it points to is the row's.
words::Progress progressOf(const Row& row) {
    words::Progress progress{.reason = row.reason, .done = row.downloaded, .size = row.size};
    // What the wording doesn't know, it counts as it counts everything that isn't finished.
    progress.state = row.kind().value_or(progress.state);
    progress.bytesPerSecond = static_cast<double>(row.bytesPerSecond);
    if (row.size && row.bytesPerSecond > 0 && *row.size > row.downloaded) {
        progress.secondsLeft = static_cast<double>(*row.size - row.downloaded) / progress.bytesPerSecond;
    }
    progress.connections = row.connections;
    progress.placeInLine = row.placeInLine;
    progress.checksumMatches = row.checksumMatches;
    return progress;
}

std::string folderOf(const Row& row) {
    return printable(row.file.substr(0, row.file.rfind('/')));
}

std::string stoppedSentence(const Row& row) {
    if (row.kind() == StateKind::paused) {
        return phrase("Download %1 is paused. `fluvane resume %1` carries on with it.", number(row.id));
    }
    if (row.kind() == StateKind::linkExpired) {
        return phrase(
            "The link of download %1 expired. `fluvane link %1 <link>` carries on with a fresh one.",
            number(row.id));
    }
    if (row.isRemoved()) {
        return phrase("Download %1 was taken off the list.", number(row.id));
    }
    return phrase("Download %1 failed: %2", number(row.id), words::sentence(printable(row.reason)));
}

} // namespace

std::string printable(std::string_view text) {
    return words::oneLine(text);
}

std::string stateWords(const Row& row) {
    if (row.isRemoved()) {
        return phrase("Taken off the list");
    }
    const auto* unknown = std::get_if<UnknownState>(&row.state);
    return unknown ? printable(unknown->name) : words::state(*row.kind(), printable(row.reason));
}

std::vector<std::string> figures(const Row& row) {
    auto progress = progressOf(row);
    const std::string checksum = row.checksum.empty() ? std::string() : checksumName(row);
    progress.checksumName = checksum;
    std::vector<std::string> parts;
    if (row.downloaded > 0 || row.size) {
        parts.push_back(words::amount(progress));
    }
    if (row.kind() == StateKind::downloading) {
        std::ranges::move(words::flow(progress), std::back_inserter(parts));
    } else if (row.kind() == StateKind::finished) {
        parts.push_back(words::checksumResult(progress));
        parts.push_back(tessivar::isolated(printable(row.file)));
        std::erase(parts, "");
    } else if (row.placeInLine) {
        parts.push_back(words::placeInLine(*row.placeInLine));
    }
    return parts;
}

std::optional<double> fraction(const Row& row) {
    return words::fraction(progressOf(row));
}

std::string plainLine(const Row& row) {
    auto parts = figures(row);
    if (const auto done = fraction(row); done && row.kind() != StateKind::finished) {
        parts.insert(parts.begin(), words::percent(*done));
    }
    parts.insert(parts.begin(), stateWords(row));
    const auto separator = tessivar::phraseIn("between items of a list", ", ");
    return fmt::format("{} {}: {}", row.id, tessivar::isolated(printable(row.name)),
                       fmt::join(parts, separator));
}

std::string problem(const Row& row, Standing standing) {
    switch (standing) {
    case Standing::mismatched:
        return phrase("Download %1 is finished.", number(row.id)) + " " +
               words::checksumMismatch(checksumName(row), folderOf(row));
    case Standing::unchecked:
        return phrase("The %2 of download %1 couldn't be checked.", number(row.id), checksumName(row));
    case Standing::stopped:
        return stoppedSentence(row);
    case Standing::goingOn:
    case Standing::finished:
        break;
    }
    return {};
}

} // namespace fluvane::watch
