// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Words.h"

#include "TessivarPhrases/Language.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <utility>

// The command line's client links this file: it stays free of links, transfers and formatting libraries.
namespace fluvane::words {

using tessivar::marked;
using tessivar::markedIn;
using tessivar::phrase;
using tessivar::phraseIn;
using tessivar::phrases;

namespace {

constexpr double minute = 60;
constexpr double hour = 60 * minute;
constexpr double day = 24 * hour;
constexpr double year = 365 * day;

/// A count of tenths, with a decimal only where there is one.
std::string tenthsText(std::uint64_t tenths) {
    const std::string whole = std::to_string(tenths / 10);
    return tenths % 10 == 0 ? whole : whole + tessivar::decimalMark() + std::to_string(tenths % 10);
}

std::uint64_t roundedTenths(std::uint64_t count, std::uint64_t unit) {
    return count / unit * 10 + (count % unit * 10 + unit / 2) / unit;
}

enum class Unit { moment, seconds, minutes, hours, days, years };
struct Span {
    Unit unit;
    std::int64_t count = 1;
};

Span span(double seconds) {
    const auto of = [](Unit unit, double count) {
        return Span{unit, std::max<std::int64_t>(std::lround(count), 1)};
    };
    if (!(seconds < year)) { // an endless or undefined time too
        return {Unit::years};
    }
    if (seconds < 10) {
        return {Unit::moment};
    }
    if (seconds < 55) {
        return of(Unit::seconds, std::round(seconds / 10) * 10);
    }
    if (seconds < 59.5 * minute) {
        return of(Unit::minutes, seconds / minute);
    }
    return seconds < 23.5 * hour ? of(Unit::hours, seconds / hour) : of(Unit::days, seconds / day);
}

/// "12.3 MB" of a text that was kept as it is said here. Whatever else it is stays.
std::string sizeShown(std::string_view english) {
    const auto blank = english.find(' ');
    if (blank == std::string_view::npos || english.find_first_not_of("0123456789.") != blank) {
        return std::string(english);
    }
    std::string number(english.substr(0, blank));
    if (const auto point = number.find('.'); point != std::string::npos) {
        number.replace(point, 1, tessivar::decimalMark());
    }
    const auto unit = english.substr(blank + 1);
    if (unit == "byte" || unit == "bytes") {
        return phrases("%1 byte", "%1 bytes", std::atoll(number.c_str()));
    }
    const std::string size = "%1 " + std::string(unit);
    return phrase(size, tessivar::Figure{number});
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
    // Translators: sizes of files, in powers of 1000.
    static constexpr std::array<std::string_view, 6> units = {
        marked("%1 KB"), marked("%1 MB"), marked("%1 GB"), marked("%1 TB"), marked("%1 PB"), marked("%1 EB")};
    if (count < 1000) {
        return phrases("%1 byte", "%1 bytes", std::max<std::int64_t>(count, 0));
    }
    const auto amount = static_cast<std::uint64_t>(count);
    std::uint64_t unit = 1000;
    std::size_t index = 0;
    // Rounding may lead into the next unit: it is 1 MB, not 1000 KB.
    while (index + 1 < units.size() && roundedTenths(amount, unit) >= 10'000) {
        unit *= 1000;
        ++index;
    }
    return phrase(units[index], tessivar::Figure{tenthsText(roundedTenths(amount, unit))});
}

std::string speed(double bytesPerSecond) {
    // Translators: a speed, "5 MB/s"; %1 is a size.
    return phrase("%1/s", bytes(wholeBytes(bytesPerSecond)));
}

std::string timeLeft(double seconds) {
    const auto [unit, count] = span(seconds);
    switch (unit) {
    case Unit::moment:
        return phrase("a few seconds left");
    case Unit::seconds:
        return phrases("about %1 second left", "about %1 seconds left", count);
    case Unit::minutes:
        return phrases("about a minute left", "about %1 minutes left", count);
    case Unit::hours:
        return phrases("about an hour left", "about %1 hours left", count);
    case Unit::days:
        return phrases("about a day left", "about %1 days left", count);
    case Unit::years:
        break;
    }
    return phrase("more than a year left");
}

std::string retry(double seconds) {
    static constexpr double moment = 2;
    if (seconds < moment) {
        return phrase("Trying again in a moment.");
    }
    const auto [unit, count] = span(seconds);
    switch (unit) {
    case Unit::moment:
        return phrase("Trying again in a few seconds.");
    case Unit::seconds:
        return phrases("Trying again in about %1 second.", "Trying again in about %1 seconds.", count);
    case Unit::minutes:
        return phrases("Trying again in about a minute.", "Trying again in about %1 minutes.", count);
    case Unit::hours:
        return phrases("Trying again in about an hour.", "Trying again in about %1 hours.", count);
    case Unit::days:
        return phrases("Trying again in about a day.", "Trying again in about %1 days.", count);
    case Unit::years:
        break;
    }
    return phrase("Trying again in more than a year.");
}

std::string waitingForSpace(std::int64_t count, std::string_view place, std::int64_t missing) {
    const tessivar::InEnglish english; // it is kept with the download
    if (count > 0 && missing > 0) {
        return tessivar::kept("kept", "Waiting for %1 of free space on “%2”: %3 are missing.", bytes(count),
                              place, bytes(missing));
    }
    return count > 0 ? tessivar::kept("kept", "Waiting for %1 of free space on “%2”.", bytes(count), place)
                     : tessivar::kept("kept", "Waiting for free space on “%1”.", place);
}

std::string heldPlaces(std::int64_t count) {
    return phrases("1 place is held by a download that is being tried again",
                   "%1 places are held by downloads that are being tried again", count);
}

std::string sentence(std::string_view english) {
    return tessivar::keptShown("kept", english, sizeShown);
}

std::string percent(double fraction) {
    // 0.29 of 1 is a little less than 29 hundredths in binary; that isn't 28 %.
    const double hundredths = std::floor(fraction * 100 + 1e-9);
    const int shown = fraction >= 1 ? 100 : hundredths > 0 ? static_cast<int>(std::min(hundredths, 99.0)) : 0;
    return phrase("%1 %", shown);
}

std::string connections(std::int64_t count) {
    return phrases("%1 connection", "%1 connections", count);
}

std::string state(StateKind state, std::string_view reason) {
    switch (state) {
    case StateKind::queued:
        return phrase("Waiting its turn");
    case StateKind::starting:
        return phrase("Starting");
    case StateKind::downloading:
        return phrase("Downloading");
    case StateKind::paused:
        return phrase("Paused");
    case StateKind::offline:
        return phrase("Paused: you're offline. It picks up when you're back.");
    case StateKind::retrying:
        return phrase("Trying again in a moment");
    case StateKind::linkExpired:
        return phrase("The link expired. Paste a fresh one to carry on; nothing downloaded is lost.");
    case StateKind::limitedNetwork:
        return phrase(
            "Waiting for another network: this connection is metered. Resume it to download anyway.");
    case StateKind::space:
        return reason.empty() ? phrase("Waiting for free space") : sentence(reason);
    case StateKind::verifying:
        return phrase("Checking the file");
    case StateKind::finishing:
        return phrase("Finishing");
    case StateKind::finished:
        return phrase("Finished");
    case StateKind::failed:
        return reason.empty() ? phrase("Failed") : sentence(reason);
    }
    return {};
}

std::string stateAfterName(StateKind state) {
    switch (state) {
    case StateKind::queued:
    case StateKind::offline:
    case StateKind::retrying:
    case StateKind::limitedNetwork:
    case StateKind::space:
        return phraseIn("after a name", "waiting");
    case StateKind::linkExpired:
        return phraseIn("after a name", "its link expired");
    case StateKind::starting:
        return phraseIn("after a name", "starting");
    case StateKind::downloading:
        return phraseIn("after a name", "downloading");
    case StateKind::paused:
        return phraseIn("after a name", "paused");
    case StateKind::verifying:
        return phraseIn("after a name", "checking the file");
    case StateKind::finishing:
        return phraseIn("after a name", "finishing");
    case StateKind::finished:
        return phraseIn("after a name", "finished");
    case StateKind::failed:
        return phraseIn("after a name", "failed");
    }
    return {};
}

namespace {

std::string joined(const std::vector<std::string>& parts) {
    // Translators: between the facts about a download, which are no sentence.
    const std::string separator = phraseIn("between items of a list", ", ");
    std::string result;
    for (const auto& part : parts) {
        if (!part.empty()) {
            result += (result.empty() ? std::string() : separator) + part;
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
    return begun ? phrase("Paused at %1", percent(*done)) : phrase("Paused");
}

std::string standing(const Progress& progress) {
    if (progress.state == StateKind::queued && progress.placeInLine) {
        return phrase("Number %1 in line", *progress.placeInLine);
    }
    return progress.state == StateKind::paused ? pausedAt(progress) : state(progress.state);
}

std::string finishedEnd(const Progress& progress) {
    const std::string folder = oneLine(progress.folder);
    if (progress.when.empty()) {
        // Translators: %1 is a folder, %2 "today at 14:05" or "3 May".
        return folder.empty() ? folder : phrase("in %1", folder);
    }
    return folder.empty() ? phrase("finished %1", progress.when)
                          : phrase("finished %2 in %1", folder, progress.when);
}

std::string finishedLine(const Progress& progress) {
    const std::string end = finishedEnd(progress);
    const std::string result = checksumResult(progress);
    const bool wrong = progress.checksumMatches == false;
    const std::string amounts = progress.done > 0 || progress.size ? amount(progress) : phrase("Finished");
    if (progress.isGone) {
        return joined({phrase("Moved or deleted since"), amounts, end});
    }
    return wrong ? joined({result, amounts, end}) : joined({amounts, end, result});
}

std::string priority(const Progress& progress) {
    return progress.prioritized ? phrase("prioritized") : std::string();
}

std::string runningLine(const Progress& progress) {
    std::vector<std::string> parts = flow(progress);
    parts.insert(parts.begin(), amountIfAny(progress));
    parts.push_back(priority(progress));
    return joined(parts);
}

std::string standingLine(const Progress& progress) {
    return joined({standing(progress), amountIfAny(progress), priority(progress)});
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
    // Translators: sizes, "1.2 GB of 3 GB".
    return progress.done > 0 ? phrase("%1 of %2", bytes(progress.done), bytes(*progress.size))
                             : bytes(*progress.size);
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
    if (!progress.checksumMatches) {
        // Translators: %1 is a kind of checksum, "SHA-256".
        return phrase("its %1 is being checked", progress.checksumName);
    }
    return *progress.checksumMatches ? phrase("%1 matches", progress.checksumName)
                                     : phrase("%1 doesn't match", progress.checksumName);
}

std::string placeInLine(std::int64_t place) {
    return phrase("number %1 in line", place);
}

std::string line(const Progress& progress) {
    if (!progress.movingTo.empty()) {
        const auto to = oneLine(progress.movingTo);
        return progress.percentMoved < 0
                   ? phrase("Moving the file to %1", to)
                   : phrase("Moving the file to %1, %2", to, percent(progress.percentMoved / 100.0));
    }
    switch (progress.state) {
    case StateKind::finished:
        return finishedLine(progress);
    case StateKind::downloading:
        return runningLine(progress);
    case StateKind::retrying:
        return !progress.reason.empty() && progress.retryIn
                   ? sentence(oneLine(progress.reason)) + " " + retry(*progress.retryIn)
                   : standingLine(progress);
    case StateKind::offline:
    case StateKind::linkExpired:
    case StateKind::limitedNetwork:
    case StateKind::space:
    case StateKind::failed: // whole sentences, which nothing is added to
        return state(progress.state, oneLine(progress.reason));
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
    std::vector<std::string> parts;
    if (totals.running > 0) {
        parts.push_back(phrases("%1 running", "%1 running", totals.running));
        parts.push_back(speed(totals.bytesPerSecond));
    } else {
        parts.push_back(phrase("Nothing running"));
    }
    if (totals.waiting > 0) {
        parts.push_back(phrases("%1 waiting", "%1 waiting", totals.waiting));
    }
    if (totals.attention > 0) {
        parts.push_back(phrases("%1 needs attention", "%1 need attention", totals.attention));
    }
    if (totals.held > 0) {
        parts.push_back(heldPlaces(totals.held));
    }
    return joined(parts);
}

namespace {

std::string monthName(int month) {
    static constexpr std::string_view inDates = "month in a date";
    static constexpr std::array months = {
        markedIn("month in a date", "January"),   markedIn("month in a date", "February"),
        markedIn("month in a date", "March"),     markedIn("month in a date", "April"),
        markedIn("month in a date", "May"),       markedIn("month in a date", "June"),
        markedIn("month in a date", "July"),      markedIn("month in a date", "August"),
        markedIn("month in a date", "September"), markedIn("month in a date", "October"),
        markedIn("month in a date", "November"),  markedIn("month in a date", "December")};
    return phraseIn(inDates, months.at(static_cast<std::size_t>(month)));
}

} // namespace

std::string when(Date date, AsOf asOf) {
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
        const std::string minutes = (then.tm_min < 10 ? "0" : "") + std::to_string(then.tm_min);
        // Translators: a time of day, hours and minutes.
        const std::string time = phraseIn("time of day", "%1:%2", then.tm_hour, tessivar::Figure{minutes});
        return sameDay(then, today) ? phrase("today at %1", tessivar::Figure{time})
                                    : phrase("yesterday at %1", tessivar::Figure{time});
    }
    const std::string month = monthName(then.tm_mon);
    // Translators: a date, day, month and year.
    return then.tm_year == today.tm_year
               ? phraseIn("date", "%1 %2", then.tm_mday, month)
               : phraseIn("date", "%1 %2 %3", then.tm_mday, month, then.tm_year + 1900);
}

std::string checksumMismatch(std::string_view algorithmName, std::string_view folder) {
    // Translators: %1 is a kind of checksum, %2 a folder.
    return phrase(
        "Its %1 doesn't match the one given, so it may not be the file you meant to get. It's in %2; "
        "don't open it unless you know why.",
        algorithmName, folder);
}

} // namespace fluvane::words
