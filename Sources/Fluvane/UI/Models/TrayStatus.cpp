// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/TrayStatus.h"

#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Abilities.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>
#include <array>
#include <utility>

namespace fluvane {

using tessivar::phrase;
using tessivar::phraseIn;
using tessivar::phrases;

namespace {

using State = DownloadState;
using Downloads = std::vector<const Download*>;

template <class Test>
std::size_t countIf(const Downloads& downloads, const Test& test) {
    return static_cast<std::size_t>(
        std::ranges::count_if(downloads, [&](const Download* download) { return test(*download); }));
}

/// What the running downloads come to. Bytes as floating-point numbers: servers may claim any size, and no
/// sum of them overflows.
struct Sum {
    double done = 0;
    double size = 0;
    double speed = 0;
    bool canTellTime = true;

    void add(const Download& download) {
        speed += download.speed();
        if (!download.record.size) {
            canTellTime = false;
            return;
        }
        size += static_cast<double>(*download.record.size);
        done += static_cast<double>(std::min(download.liveBytes(), *download.record.size));
        canTellTime =
            canTellTime && (download.secondsLeft || !download.record.state.is<State::Downloading>());
    }
    [[nodiscard]] std::optional<double> progress() const {
        return size > 0 ? std::optional(done / size) : std::nullopt;
    }
};

std::string runningText(std::size_t count, const Sum& sum) {
    const auto separator = phraseIn("between items of a list", ", ");
    std::string text = phrases("%1 download", "%1 downloads", count);
    if (sum.speed >= 1) {
        text += separator + words::speed(sum.speed);
        if (sum.canTellTime && sum.done < sum.size) {
            text += separator + words::timeLeft((sum.size - sum.done) / sum.speed);
        }
    }
    return text;
}

std::string waiting(const State& state, std::size_t count) {
    if (state.isWaiting(State::Wait::offline)) {
        return phrases("%1 download carries on when you're back online",
                       "%1 downloads carry on when you're back online", count);
    }
    if (state.isWaiting(State::Wait::limitedNetwork)) {
        return phrases("%1 download waits for another network", "%1 downloads wait for another network",
                       count);
    }
    if (state.isWaiting(State::Wait::space)) {
        return phrases("%1 download waits for free space", "%1 downloads wait for free space", count);
    }
    if (state.isWaiting(State::Wait::retrying)) {
        return phrases("%1 download tries again in a moment", "%1 downloads try again in a moment", count);
    }
    return state.isWaiting(State::Wait::linkExpired)
               ? phrases("%1 download needs a fresh link", "%1 downloads need a fresh link", count)
               : phrases("%1 download waits its turn", "%1 downloads wait their turn", count);
}

/// What it waits for in words, the reason that holds back most first; nothing when nothing waits.
std::string waitingText(const Downloads& downloads) {
    static const std::array<State, 6> reasons = {State::Wait::offline,     State::Wait::limitedNetwork,
                                                 State::Wait::space,       State::Wait::retrying,
                                                 State::Wait::linkExpired, State::Queued{}};
    for (const auto& reason : reasons) {
        const auto count =
            countIf(downloads, [&](const Download& download) { return download.record.state == reason; });
        if (count > 0) {
            return waiting(reason, count);
        }
    }
    return {};
}

std::string problemText(const Downloads& problems) {
    const auto& record = problems.front()->record;
    if (problems.size() > 1) {
        return phrases("%1 download needs attention", "%1 downloads need attention", problems.size());
    }
    if (record.state.failure()) {
        return phrase("1 download failed");
    }
    return record.state.isWaiting(State::Wait::linkExpired)
               ? phrases("%1 download needs a fresh link", "%1 downloads need a fresh link", 1)
               : phrase("1 download isn't what its checksum describes");
}

/// The list without regard to what went wrong in it.
TrayStatus calmStatus(const Downloads& downloads) {
    Sum sum;
    std::size_t running = 0;
    for (const Download* download : downloads) {
        if (runs(download->record.state)) {
            ++running;
            sum.add(*download);
        }
    }
    if (running > 0) {
        return {TrayStatus::Kind::running, true, sum.progress(), runningText(running, sum)};
    }
    if (auto text = waitingText(downloads); !text.empty()) {
        return {TrayStatus::Kind::waiting, false, {}, std::move(text)};
    }
    const auto paused = countIf(
        downloads, [](const Download& download) { return download.record.state.is<State::Paused>(); });
    if (paused > 0) {
        return {TrayStatus::Kind::paused,
                false,
                {},
                phrases("%1 download is paused", "%1 downloads are paused", paused)};
    }
    return {TrayStatus::Kind::idle, false, {}, phrase("No downloads are running")};
}

} // namespace

TrayStatus trayStatus(const TrayList& list) {
    auto status = calmStatus(list.downloads);
    if (!list.problems.empty()) {
        status.kind = TrayStatus::Kind::needsAttention;
        const std::string problem = problemText(list.problems);
        // Translators: two facts, "1 download failed; 2 downloads, 12 MB/s".
        status.toolTip = status.isRunning ? phrase("%1; %2", problem, status.toolTip) : problem;
    }
    return status;
}

TrayProblems::Problem TrayProblems::problemOf(const Download& download) {
    const auto& record = download.record;
    if (!needsAttention(record)) {
        return Problem::none;
    }
    if (record.state.failure()) {
        return Problem::failed;
    }
    const bool expired = record.state.isWaiting(State::Wait::linkExpired);
    return expired ? Problem::linkExpired : Problem::mismatch;
}

/// As it came from the saved list. A link that expired holds its download up until the user does something.
bool TrayProblems::isOldNews(const Download& download, Problem problem) const {
    return problem != Problem::linkExpired && download.record.added < start_;
}

Downloads TrayProblems::follow(const Downloads& downloads) {
    std::map<DownloadID, Known> now;
    Downloads unseen;
    for (const Download* download : downloads) {
        const auto problem = problemOf(*download);
        const auto before = known_.find(download->id());
        const bool seen = before == known_.end() ? isOldNews(*download, problem)
                                                 : before->second.problem == problem && before->second.seen;
        now.emplace(download->id(), Known{problem, seen});
        if (problem != Problem::none && !seen) {
            unseen.push_back(download);
        }
    }
    known_ = std::move(now);
    return unseen;
}

void TrayProblems::seen() {
    for (auto& [id, known] : known_) {
        known.seen = true;
    }
}

} // namespace fluvane
