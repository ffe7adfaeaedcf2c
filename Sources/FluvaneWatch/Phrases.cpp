// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneWatch/Phrases.h"

#include "FluvaneCore/Words.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace fluvane::watch {

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
        return fmt::format("Download {} is paused. `fluvane resume {}` carries on with it.", row.id, row.id);
    }
    if (row.kind() == StateKind::linkExpired) {
        return fmt::format(
            "The link of download {} expired. `fluvane link {} <link>` carries on with a fresh one.", row.id,
            row.id);
    }
    if (row.isRemoved()) {
        return fmt::format("Download {} was taken off the list.", row.id);
    }
    return fmt::format("Download {} failed: {}", row.id, printable(row.reason));
}

} // namespace

std::string printable(std::string_view text) {
    return words::oneLine(text);
}

std::string stateWords(const Row& row) {
    if (row.isRemoved()) {
        return "Taken off the list";
    }
    const auto* unknown = std::get_if<UnknownState>(&row.state);
    return printable(unknown ? unknown->name : words::state(*row.kind(), row.reason));
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
        parts.push_back(printable(row.file));
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
    return fmt::format("{} {}: {}", row.id, printable(row.name), fmt::join(parts, ", "));
}

std::string problem(const Row& row, Standing standing) {
    switch (standing) {
    case Standing::mismatched:
        return fmt::format("Download {} is finished. {}", row.id,
                           words::checksumMismatch(checksumName(row), folderOf(row)));
    case Standing::unchecked:
        return fmt::format("The {} of download {} couldn't be checked.", checksumName(row), row.id);
    case Standing::stopped:
        return stoppedSentence(row);
    case Standing::goingOn:
    case Standing::finished:
        break;
    }
    return {};
}

} // namespace fluvane::watch
