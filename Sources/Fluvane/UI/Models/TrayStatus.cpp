// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/TrayStatus.h"

#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Abilities.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace fluvane {

namespace {

using State = DownloadState;
using Downloads = std::vector<const Download*>;

std::string counted(std::size_t count) {
    return fmt::format("{} download{}", count, count == 1 ? "" : "s");
}

/// "2 downloads wait their turn": the verb as it goes with one, and with more.
std::string counted(std::size_t count, std::string_view one, std::string_view more) {
    return fmt::format("{} {}", counted(count), count == 1 ? one : more);
}

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
    std::string text = counted(count);
    if (sum.speed >= 1) {
        text += ", " + words::speed(sum.speed);
        if (sum.canTellTime && sum.done < sum.size) {
            text += ", " + words::timeLeft((sum.size - sum.done) / sum.speed);
        }
    }
    return text;
}

/// What it waits for in words, the reason that holds back most first; nothing when nothing waits.
std::string waitingText(const Downloads& downloads) {
    struct Reason {
        State state;
        std::string_view one;
        std::string_view more;
    };
    static const std::array reasons = {
        Reason{State::Wait::offline, "carries on when you're back online",
               "carry on when you're back online"},
        Reason{State::Wait::limitedNetwork, "waits for another network", "wait for another network"},
        Reason{State::Wait::space, "waits for free space", "wait for free space"},
        Reason{State::Wait::retrying, "tries again in a moment", "try again in a moment"},
        Reason{State::Wait::linkExpired, "needs a fresh link", "need a fresh link"},
        Reason{State::Queued{}, "waits its turn", "wait their turn"},
    };
    for (const auto& reason : reasons) {
        const auto count = countIf(
            downloads, [&](const Download& download) { return download.record.state == reason.state; });
        if (count > 0) {
            return counted(count, reason.one, reason.more);
        }
    }
    return {};
}

std::string problemText(const Downloads& problems) {
    const auto& record = problems.front()->record;
    if (problems.size() > 1) {
        return counted(problems.size()) + " need attention";
    }
    if (record.state.failure()) {
        return "1 download failed";
    }
    return record.state.isWaiting(State::Wait::linkExpired) ? "1 download needs a fresh link"
                                                            : "1 download isn't what its checksum describes";
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
        return {TrayStatus::Kind::paused, false, {}, counted(paused, "is paused", "are paused")};
    }
    return {TrayStatus::Kind::idle, false, {}, "No downloads are running"};
}

} // namespace

TrayStatus trayStatus(const TrayList& list) {
    auto status = calmStatus(list.downloads);
    if (!list.problems.empty()) {
        status.kind = TrayStatus::Kind::needsAttention;
        status.toolTip = problemText(list.problems) + (status.isRunning ? "; " + status.toolTip : "");
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
