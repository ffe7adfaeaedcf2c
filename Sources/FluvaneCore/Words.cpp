// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Words.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <limits>

// The command line's client links this file: it stays free of links, transfers and formatting libraries.
namespace fluvane::words {

namespace {

constexpr double minute = 60;
constexpr double hour = 60 * minute;
constexpr double day = 24 * hour;
constexpr double year = 365 * day;

std::string counted(std::int64_t count, std::string_view unit) {
    return std::to_string(count) + " " + std::string(unit) + (count == 1 ? "" : "s");
}

/// A count of tenths, with a decimal only where there is one.
std::string tenthsText(std::uint64_t tenths) {
    const std::string whole = std::to_string(tenths / 10);
    return tenths % 10 == 0 ? whole : whole + "." + std::to_string(tenths % 10);
}

std::uint64_t roundedTenths(std::uint64_t count, std::uint64_t unit) {
    return count / unit * 10 + (count % unit * 10 + unit / 2) / unit;
}

std::string about(double amount, std::string_view single, std::string_view unit) {
    const auto count = static_cast<std::int64_t>(std::lround(amount));
    return "about " + (count <= 1 ? std::string(single) : counted(count, unit));
}

std::string span(double seconds) {
    if (!(seconds < year)) { // an endless or undefined time too
        return "more than a year";
    }
    if (seconds < 10) {
        return "a few seconds";
    }
    if (seconds < 55) {
        return about(std::round(seconds / 10) * 10, "", "second");
    }
    if (seconds < 59.5 * minute) {
        return about(seconds / minute, "a minute", "minute");
    }
    if (seconds < 23.5 * hour) {
        return about(seconds / hour, "an hour", "hour");
    }
    return about(seconds / day, "a day", "day");
}

std::int64_t wholeBytes(double count) {
    static constexpr double beyond = 9223372036854775808.0; // 2^63
    if (!(count > 0)) {
        return 0;
    }
    return count < beyond ? static_cast<std::int64_t>(std::round(count))
                          : std::numeric_limits<std::int64_t>::max();
}

} // namespace

std::string bytes(std::int64_t count) {
    static constexpr std::array<std::string_view, 6> units = {" KB", " MB", " GB", " TB", " PB", " EB"};
    if (count < 1000) {
        return counted(std::max<std::int64_t>(count, 0), "byte");
    }
    const auto amount = static_cast<std::uint64_t>(count);
    std::uint64_t unit = 1000;
    std::size_t index = 0;
    // Rounding may lead into the next unit: it is 1 MB, not 1000 KB.
    while (index + 1 < units.size() && roundedTenths(amount, unit) >= 10'000) {
        unit *= 1000;
        ++index;
    }
    return tenthsText(roundedTenths(amount, unit)) + std::string(units[index]);
}

std::string speed(double bytesPerSecond) {
    return bytes(wholeBytes(bytesPerSecond)) + "/s";
}

std::string timeLeft(double seconds) {
    return span(seconds) + " left";
}

std::string retry(double seconds) {
    static constexpr double moment = 2;
    return "Trying again in " + (seconds < moment ? "a moment" : span(seconds)) + ".";
}

std::string waitingForSpace(std::int64_t count, std::string_view place) {
    return "Waiting for " + (count > 0 ? bytes(count) + " of " : std::string()) + "free space on “" +
           std::string(place) + "”.";
}

std::string percent(double fraction) {
    // 0.29 of 1 is a little less than 29 hundredths in binary; that isn't 28 %.
    const double hundredths = std::floor(fraction * 100 + 1e-9);
    const int shown = fraction >= 1 ? 100 : hundredths > 0 ? static_cast<int>(std::min(hundredths, 99.0)) : 0;
    return std::to_string(shown) + " %";
}

std::string connections(std::int64_t count) {
    return counted(count, "connection");
}

std::string state(StateKind state, std::string_view reason) {
    switch (state) {
    case StateKind::queued:
        return "Waiting its turn";
    case StateKind::starting:
        return "Starting";
    case StateKind::downloading:
        return "Downloading";
    case StateKind::paused:
        return "Paused";
    case StateKind::offline:
        return "Paused: you're offline. It picks up when you're back.";
    case StateKind::retrying:
        return "Trying again in a moment";
    case StateKind::linkExpired:
        return "The link expired. Paste a fresh one to carry on; nothing downloaded is lost.";
    case StateKind::limitedNetwork:
        return "Waiting for another network: this connection is metered. Resume it to download anyway.";
    case StateKind::space:
        return reason.empty() ? "Waiting for free space" : std::string(reason);
    case StateKind::verifying:
        return "Checking the file";
    case StateKind::finishing:
        return "Finishing";
    case StateKind::finished:
        return "Finished";
    case StateKind::failed:
        return reason.empty() ? "Failed" : std::string(reason);
    }
    return {};
}

namespace {

std::string joined(const std::vector<std::string>& parts) {
    std::string result;
    for (const auto& part : parts) {
        if (!part.empty()) {
            result += (result.empty() ? "" : ", ") + part;
        }
    }
    return result;
}

/// The amount, unless there is nothing to tell.
std::string amountIfAny(const Progress& progress) {
    return progress.done > 0 || progress.size ? amount(progress) : std::string();
}

std::string pausedAt(const Progress& progress) {
    const auto done = fraction(progress);
    const bool begun = done && progress.done > 0;
    return begun ? "Paused at " + percent(*done) : std::string("Paused");
}

std::string standing(const Progress& progress) {
    if (progress.state == StateKind::queued && progress.placeInLine) {
        std::string place = placeInLine(*progress.placeInLine);
        place[0] = 'N';
        return place;
    }
    return progress.state == StateKind::paused ? pausedAt(progress) : state(progress.state);
}

std::string finishedLine(const Progress& progress) {
    std::string end = progress.when.empty() ? std::string() : "finished " + std::string(progress.when);
    if (!progress.folder.empty()) {
        end += (end.empty() ? "in " : " in ") + oneLine(progress.folder);
    }
    const std::string result = checksumResult(progress);
    const bool wrong = progress.checksumMatches == false;
    const std::string amounts = progress.done > 0 || progress.size ? amount(progress) : "Finished";
    return wrong ? joined({result, amounts, end}) : joined({amounts, end, result});
}

std::string runningLine(const Progress& progress) {
    std::vector<std::string> parts = flow(progress);
    parts.insert(parts.begin(), amountIfAny(progress));
    parts.emplace_back(progress.prioritized ? "prioritized" : "");
    return joined(parts);
}

std::string standingLine(const Progress& progress) {
    return joined(
        {standing(progress), amountIfAny(progress), progress.prioritized ? "prioritized" : std::string()});
}

} // namespace

std::optional<double> fraction(const Progress& progress) {
    if (progress.state == StateKind::finished) {
        return 1;
    }
    if (!progress.size || *progress.size < 0) {
        return std::nullopt;
    }
    const auto size = static_cast<double>(*progress.size);
    return *progress.size == 0 ? 1.0 : std::clamp(static_cast<double>(progress.done) / size, 0.0, 1.0);
}

std::string amount(const Progress& progress) {
    if (progress.state == StateKind::finished) {
        return bytes(progress.size.value_or(progress.done));
    }
    if (!progress.size) {
        return bytes(progress.done);
    }
    return progress.done > 0 ? bytes(progress.done) + " of " + bytes(*progress.size) : bytes(*progress.size);
}

std::vector<std::string> flow(const Progress& progress) {
    std::vector<std::string> parts = {speed(progress.bytesPerSecond)};
    if (progress.secondsLeft && progress.bytesPerSecond > 0) {
        parts.push_back(timeLeft(*progress.secondsLeft));
    }
    parts.push_back(connections(progress.connections));
    return parts;
}

std::string checksumResult(const Progress& progress) {
    if (progress.checksumName.empty()) {
        return {};
    }
    const std::string name(progress.checksumName);
    if (!progress.checksumMatches) {
        return "its " + name + " is being checked";
    }
    return name + (*progress.checksumMatches ? " matches" : " doesn't match");
}

std::string placeInLine(std::int64_t place) {
    return "number " + std::to_string(place) + " in line";
}

std::string line(const Progress& progress) {
    switch (progress.state) {
    case StateKind::finished:
        return finishedLine(progress);
    case StateKind::downloading:
        return runningLine(progress);
    case StateKind::retrying:
        return !progress.reason.empty() && progress.retryIn
                   ? oneLine(progress.reason) + " " + retry(*progress.retryIn)
                   : standingLine(progress);
    case StateKind::offline:
    case StateKind::linkExpired:
    case StateKind::limitedNetwork:
    case StateKind::space:
    case StateKind::failed: // whole sentences, which nothing is added to
        return oneLine(state(progress.state, progress.reason));
    case StateKind::queued:
    case StateKind::starting:
    case StateKind::paused:
    case StateKind::verifying:
    case StateKind::finishing:
        return standingLine(progress);
    }
    return {};
}

std::string totals(const Totals& totals) {
    const std::string running =
        totals.running > 0 ? std::to_string(totals.running) + " running" : "Nothing running";
    return joined({running, totals.running > 0 ? speed(totals.bytesPerSecond) : std::string(),
                   totals.waiting > 0 ? std::to_string(totals.waiting) + " waiting" : std::string(),
                   totals.attention > 0 ? std::to_string(totals.attention) +
                                              (totals.attention == 1 ? " needs attention" : " need attention")
                                        : std::string()});
}

std::string when(Date date, AsOf asOf) {
    static constexpr std::array months = {"January",   "February", "March",    "April",
                                          "May",       "June",     "July",     "August",
                                          "September", "October",  "November", "December"};
    const auto local = [](Date moment) {
        const std::time_t seconds = std::chrono::system_clock::to_time_t(moment);
        std::tm parts{};
        localtime_r(&seconds, &parts);
        return parts;
    };
    const auto sameDay = [](const std::tm& a, const std::tm& b) {
        return a.tm_year == b.tm_year && a.tm_yday == b.tm_yday;
    };
    const std::tm then = local(date);
    const std::tm today = local(asOf.now);
    std::tm before = today;
    before.tm_mday -= 1;
    before.tm_hour = 12; // exists on every day
    before.tm_isdst = -1;
    std::mktime(&before);
    if (sameDay(then, today) || sameDay(then, before)) {
        const std::string minutes = std::to_string(then.tm_min);
        return (sameDay(then, today) ? "today at " : "yesterday at ") + std::to_string(then.tm_hour) +
               (minutes.size() < 2 ? ":0" : ":") + minutes;
    }
    const std::string text =
        std::to_string(then.tm_mday) + " " + months[static_cast<std::size_t>(then.tm_mon)];
    return then.tm_year == today.tm_year ? text : text + " " + std::to_string(then.tm_year + 1900);
}

std::string checksumMismatch(std::string_view algorithmName, std::string_view folder) {
    return "Its " + std::string(algorithmName) +
           " doesn't match the one given, so it may not be the file you meant to get. It's in " +
           std::string(folder) + "; don't open it unless you know why.";
}

} // namespace fluvane::words
