#include "FluvaneWatch/Phrases.h"

#include "FluvaneCore/Text.h"
#include "FluvaneCore/Words.h"

#include <fmt/format.h>

#include <algorithm>

namespace fluvane::watch {

namespace {

constexpr char32_t replacement = 0xFFFD;

bool turnsDirection(char32_t scalar) {
    return (scalar >= 0x202A && scalar <= 0x202E) || (scalar >= 0x2066 && scalar <= 0x2069);
}

std::string checksumName(const Row& row) {
    if (row.checksum.starts_with("sha256")) {
        return "SHA-256";
    }
    return row.checksum.starts_with("sha1") ? "SHA-1" : "MD5";
}

std::string amount(const Row& row) {
    if (row.state == "finished" || !row.size) {
        return Words::bytes(row.state == "finished" && row.size ? *row.size : row.downloaded);
    }
    return fmt::format("{} of {}", Words::bytes(row.downloaded), Words::bytes(*row.size));
}

std::string folderOf(const Row& row) {
    return printable(row.file.substr(0, row.file.rfind('/')));
}

std::string place(std::int64_t number) {
    return fmt::format("number {} in line", number);
}

void addFlow(const Row& row, std::vector<std::string>& parts) {
    parts.push_back(Words::speed(static_cast<double>(row.bytesPerSecond)));
    parts.push_back(Words::connections(row.connections));
    if (row.size && row.bytesPerSecond > 0 && *row.size > row.downloaded) {
        parts.push_back(Words::timeLeft(static_cast<double>(*row.size - row.downloaded) /
                                        static_cast<double>(row.bytesPerSecond)));
    }
}

void addResult(const Row& row, std::vector<std::string>& parts) {
    if (row.checksumMatches) {
        parts.push_back(checksumName(row) + (*row.checksumMatches ? " matches" : " doesn't match"));
    } else if (!row.checksum.empty()) {
        parts.push_back("its " + checksumName(row) + " is being checked");
    }
    if (!row.file.empty()) {
        parts.push_back(printable(row.file));
    }
}

std::string stoppedSentence(const Row& row) {
    if (row.state == "paused") {
        return fmt::format("Download {} is paused. `fluvane resume {}` carries on with it.", row.id, row.id);
    }
    if (row.state == "link-expired") {
        return fmt::format(
            "The link of download {} expired. `fluvane link {} <link>` carries on with a fresh one.", row.id,
            row.id);
    }
    if (row.state == removedState) {
        return fmt::format("Download {} was taken off the list.", row.id);
    }
    return fmt::format("Download {} failed: {}", row.id, printable(row.reason));
}

} // namespace

std::string printable(std::string_view text) {
    auto scalars = text::scalars(text);
    std::ranges::replace_if(
        scalars,
        [](char32_t scalar) {
            return text::isControl(scalar) || text::isNewline(scalar) || turnsDirection(scalar);
        },
        replacement);
    return text::utf8(scalars);
}

std::string stateWords(const Row& row) {
    return row.state == removedState ? "Taken off the list" : printable(Words::state(row.state, row.reason));
}

std::vector<std::string> figures(const Row& row) {
    std::vector<std::string> parts;
    if (row.downloaded > 0 || row.size) {
        parts.push_back(amount(row));
    }
    if (row.state == "downloading") {
        addFlow(row, parts);
    } else if (row.state == "finished") {
        addResult(row, parts);
    } else if (row.placeInLine) {
        parts.push_back(place(*row.placeInLine));
    }
    return parts;
}

std::optional<double> fraction(const Row& row) {
    if (row.state == "finished") {
        return 1;
    }
    if (!row.size) {
        return std::nullopt;
    }
    return *row.size == 0
               ? 1.0
               : std::min(1.0, static_cast<double>(row.downloaded) / static_cast<double>(*row.size));
}

std::string plainLine(const Row& row) {
    auto parts = figures(row);
    if (const auto done = fraction(row); done && row.state != "finished") {
        parts.insert(parts.begin(), Words::percent(*done));
    }
    parts.insert(parts.begin(), stateWords(row));
    return fmt::format("{} {}: {}", row.id, printable(row.name), fmt::join(parts, ", "));
}

std::string problem(const Row& row, Standing standing) {
    switch (standing) {
    case Standing::mismatched:
        return fmt::format("Download {} is finished. {}", row.id,
                           Words::checksumMismatch(checksumName(row), folderOf(row)));
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
