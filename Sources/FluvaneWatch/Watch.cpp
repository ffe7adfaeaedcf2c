// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneWatch/Watch.h"

#include "FluvaneWatch/Phrases.h"

#include <algorithm>

namespace fluvane::watch {

namespace {

// A finished file's check says nothing when it can't be done, so it is waited for as long as reading the file
// from a slow disk takes.
double patience(const Row& row) {
    constexpr double least = 10;
    constexpr double slowDisk = 20e6; // bytes per second
    return least + static_cast<double>(row.size.value_or(row.downloaded)) / slowDisk;
}

bool needsSomebody(const Row& row) {
    const auto kind = row.kind();
    return row.isRemoved() || kind == StateKind::paused || (kind && needsAttention(*kind));
}

bool awaitsCheck(const Row& row) {
    return row.kind() == StateKind::finished && !row.checksum.empty() && !row.checksumMatches;
}

bool isDone(const Row& row) {
    return row.kind() == StateKind::finished || needsSomebody(row);
}

const Row* find(const std::vector<Row>& rows, DownloadID id) {
    const auto found = std::ranges::find(rows, id, &Row::id);
    return found == rows.end() ? nullptr : &*found;
}

} // namespace

Watch::Watch(const std::vector<DownloadID>& numbers) : everything_(numbers.empty()) {
    for (const auto number : numbers) {
        if (std::ranges::find(numbers_, number) == numbers_.end()) {
            numbers_.push_back(number);
        }
    }
}

void Watch::update(const std::vector<Row>& list, double now) {
    now_ = now;
    if (everything_) {
        follow(list);
    }
    std::vector<Row> next;
    for (const auto number : numbers_) {
        if (const Row* row = find(list, number)) {
            next.push_back(*row);
        } else if (const Row* last = find(rows_, number)) {
            next.push_back(*last);
            next.back().state = Removed{};
        }
    }
    rows_ = std::move(next);
    waitForChecks(now);
}

void Watch::follow(const std::vector<Row>& list) {
    for (const auto& row : list) {
        if (!isDone(row) && std::ranges::find(numbers_, row.id) == numbers_.end()) {
            numbers_.push_back(row.id);
        }
    }
}

void Watch::waitForChecks(double now) {
    for (const auto& row : rows_) {
        if (awaitsCheck(row)) {
            checkUntil_.try_emplace(row.id, now + patience(row));
        } else {
            checkUntil_.erase(row.id);
        }
    }
}

std::vector<DownloadID> Watch::unknown() const {
    std::vector<DownloadID> missing;
    std::ranges::copy_if(numbers_, std::back_inserter(missing),
                         [this](DownloadID id) { return !find(rows_, id); });
    return missing;
}

Standing Watch::standing(const Row& row) const {
    if (needsSomebody(row)) {
        return Standing::stopped;
    }
    if (row.kind() != StateKind::finished) {
        return Standing::goingOn;
    }
    if (const auto until = checkUntil_.find(row.id); until != checkUntil_.end()) {
        return now_ < until->second ? Standing::goingOn : Standing::unchecked;
    }
    return row.checksumMatches.value_or(true) ? Standing::finished : Standing::mismatched;
}

bool Watch::ended() const {
    return std::ranges::none_of(rows_, [this](const Row& row) { return standing(row) == Standing::goingOn; });
}

bool Watch::allFinished() const {
    return std::ranges::all_of(rows_, [this](const Row& row) { return standing(row) == Standing::finished; });
}

std::vector<std::string> Watch::problems() const {
    std::vector<std::string> sentences;
    for (const auto& row : rows_) {
        if (auto sentence = problem(row, standing(row)); !sentence.empty()) {
            sentences.push_back(std::move(sentence));
        }
    }
    return sentences;
}

} // namespace fluvane::watch
