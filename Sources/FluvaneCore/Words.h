// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Date.h"
#include "FluvaneCore/StateKind.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The one place for the wording of sizes, speeds, times and states.
namespace fluvane::words {

/// Decimal units with at most one decimal: "0 bytes", "1 byte", "16 KB", "1.2 GB".
[[nodiscard]] std::string bytes(std::int64_t count);
/// Why a download waits: so many bytes aren't free there; 0 when it isn't known how many. `missing`: how many
/// more than there are; 0 likewise. In English, as `sentence` takes it.
[[nodiscard]] std::string waitingForSpace(std::int64_t count, std::string_view place,
                                          std::int64_t missing = 0);
/// "2 places are held by downloads that are being tried again"
[[nodiscard]] std::string heldPlaces(std::int64_t count);
/// A sentence that is kept with a download, which the engine made in English, in the user's language. What
/// isn't known stays as it is.
[[nodiscard]] std::string sentence(std::string_view english);
/// "5 MB/s"
[[nodiscard]] std::string speed(double bytesPerSecond);
/// "about 3 minutes left"; `seconds` as estimated.
[[nodiscard]] std::string timeLeft(double seconds);
/// "Trying again in about 40 seconds."; coarse, so that it stays true for a while.
[[nodiscard]] std::string retry(double seconds);
/// "37 %" without rounding up to 100 before the end; `fraction` from 0 to 1.
[[nodiscard]] std::string percent(double fraction);
/// "1 connection", "8 connections"
[[nodiscard]] std::string connections(std::int64_t count);

/// What a person reads for a state; `reason` is a failure's sentence as it is kept.
[[nodiscard]] std::string state(StateKind state, std::string_view reason = {});
/// The same in a word or two, after a name and a colon.
[[nodiscard]] std::string stateAfterName(StateKind state);
/// What a person is told when the finished file isn't the one its checksum describes; `folder` as shown.
[[nodiscard]] std::string checksumMismatch(std::string_view algorithmName, std::string_view folder);

/// One download as far as it is told in a line. Texts are as they come from outside; nothing is kept of them.
struct Progress {
    StateKind state = StateKind::queued;
    std::string_view reason{};       ///< A failure's sentence; that of the last one while it is tried again.
    std::optional<double> retryIn{}; ///< Seconds until it is tried again.
    std::int64_t done = 0;           ///< Bytes.
    std::optional<std::int64_t> size{};
    double bytesPerSecond = 0;
    std::optional<double> secondsLeft{};
    std::int64_t connections = 0;
    std::optional<std::int64_t> placeInLine{}; ///< From 1, for one that waits its turn.
    std::string_view checksumName{};           ///< "SHA-256"; empty when none is set.
    std::optional<bool> checksumMatches{};     ///< Once the file was checked.
    std::string_view folder{};                 ///< Of the finished file, as shown; empty: not told.
    std::string_view when{};                   ///< When it finished, as `when` says it; empty: not told.
    bool prioritized = false;
    std::string_view movingTo{}; ///< Where its file is on the way to, as shown; empty: it isn't.
    int percentMoved = -1;       ///< While it is copied there; below 0: it isn't.
    bool isGone = false;         ///< The finished file isn't there anymore.
};
/// 0 to 1, absent while it can't be known.
[[nodiscard]] std::optional<double> fraction(const Progress& progress);
/// "1.2 GB of 3 GB", or the one of both that says something.
[[nodiscard]] std::string amount(const Progress& progress);
/// Speed, time left and connections of a download that runs, in this order, each of its own.
[[nodiscard]] std::vector<std::string> flow(const Progress& progress);
/// "SHA-256 matches", "SHA-256 doesn't match", "its SHA-256 is being checked"; empty without a checksum.
[[nodiscard]] std::string checksumResult(const Progress& progress);
/// "number 3 in line"
[[nodiscard]] std::string placeInLine(std::int64_t place);
/// All that is worth saying about a download, in one line without its name: "1.2 GB of 3 GB, 5 MB/s, about 3
/// minutes left, 8 connections", "Paused at 45 %, 1.2 GB of 3 GB", a failure's sentence.
[[nodiscard]] std::string line(const Progress& progress);

/// All downloads together: "2 running, 3 waiting, 12 MB/s, up to 20 MB/s".
struct Totals {
    std::int64_t running = 0;
    std::int64_t waiting = 0;
    std::int64_t attention = 0;
    double bytesPerSecond = 0;
    std::int64_t held = 0; ///< Places that others wait for, of downloads that are tried again.
};
[[nodiscard]] std::string totals(const Totals& totals);

/// The time at which something is told.
struct AsOf {
    Date now;
};
/// "today at 14:05", "yesterday at 9:30", "3 May", "3 May 2025", by the local time.
[[nodiscard]] std::string when(Date date, AsOf asOf);

/// Text from outside in a line of its own, for showing: what may mislead whoever reads it becomes U+FFFD
/// (text::replacingMisleading).
[[nodiscard]] std::string oneLine(std::string_view text);
/// Lines with text from outside, or JSON, for a terminal: what may mislead becomes an escape as JSON has
/// them; line feeds and tabs stay.
[[nodiscard]] std::string escaped(std::string_view text);

} // namespace fluvane::words
