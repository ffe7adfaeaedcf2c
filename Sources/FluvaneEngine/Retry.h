// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Platform.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace fluvane {

/// A download's failures in a row and the try that waits, if any. Times are the scheduler's seconds.
class Retry {
public:
    /// A new run: no failure counts.
    void begin();
    /// Bytes that a restart or a carrying on begins with are no progress.
    void countFrom(std::int64_t bytes) { bytesAtFailure_ = bytes; }
    /// Counts one failure, `bytes` being what the download has. A stretch of progress since the last one, of
    /// at least `goodStretch`, ends the row, so that a long download on a bad line isn't ended by a few
    /// breaks over days.
    void count(bool offline, std::int64_t bytes, std::int64_t goodStretch);
    /// That end a download when they are too many. Being offline is nobody's fault.
    [[nodiscard]] int failures() const { return failures_; }
    /// Of both kinds.
    [[nodiscard]] int attempts() const { return failures_ + offlineFailures_; }

    /// `server`, if any, asked for the delay; its time isn't cut short.
    void schedule(std::shared_ptr<Cancellable> timer, double at, std::optional<std::string> server = {});
    /// The try was made, or isn't needed anymore.
    void cancel();
    [[nodiscard]] bool isPending() const { return timer_ != nullptr; }
    /// Whether the pending one waits for so long because this server asked for it.
    [[nodiscard]] bool isWordOf(const std::optional<std::string>& server) const {
        return isPending() && server_ && server_ == server;
    }
    /// A try before this time is a look whether the server is back; its failure doesn't count.
    void lookUntil(double time) { lookUntil_ = time; }
    [[nodiscard]] double looksUntil() const { return lookUntil_; }
    /// When the pending one is due.
    [[nodiscard]] double at() const { return at_; }

    std::string reason; ///< The sentence of the failure that the pending one is for.

private:
    std::shared_ptr<Cancellable> timer_;
    double at_ = 0;
    double lookUntil_ = 0;
    std::optional<std::string> server_; ///< That asked for the pending delay.
    int failures_ = 0;
    int offlineFailures_ = 0;
    std::int64_t bytesAtFailure_ = 0; ///< Done when the last failure was counted.
};

} // namespace fluvane
