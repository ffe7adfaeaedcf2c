// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/Download.h"
#include "FluvaneEngine/Turns.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace fluvane {

/// When a download that failed is tried again, and when it was tried often enough. Seconds are the
/// scheduler's.
class Retries {
public:
    /// `random` gives numbers from 0 to below 1; `due` is called in a turn of its own, and
    /// cancels the pending retry.
    Retries(std::shared_ptr<Scheduler> scheduler, std::function<double()> random,
            const Conditions& conditions, Turns& turns, std::function<void(DownloadID)> due);

    /// Counts a failure, unless one that was counted waits for its retry: several connections that fail
    /// together are one. False when it was one too many.
    [[nodiscard]] bool mayTryAgain(Download& download, const TransferError& error) const;
    /// Tries again after the server's own delay, else after one that grows with each failure; nothing if a
    /// retry is pending.
    void schedule(Download& download, const TransferError& error, std::optional<double> retryAfter);
    /// For the reason it had, without a failure.
    void postpone(Download& download, double delay);
    /// Seconds until a download that waits for nothing else is tried again; absent for any other.
    [[nodiscard]] std::optional<double> retryIn(const Download& download) const;

private:
    void wait(Download& download, double delay, std::optional<std::string> server);

    std::shared_ptr<Scheduler> scheduler_;
    std::function<double()> random_;
    const Conditions& conditions_;
    Turns& turns_;
    std::function<void(DownloadID)> due_;
};

} // namespace fluvane
