// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Transport/TransferConnection.h"
#include "Fluvane/Linux/Transport/TransferInbox.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <curl/curl.h>

namespace fluvane {

/// A transfer thread: runs the transfers given to it, writes what they bring, and sleeps when there is
/// nothing to do. All calls on the main queue.
class TransferLoop {
public:
    /// The limiter outlives the loop.
    TransferLoop(TransportOptions options, SpeedLimiter& limiter);
    /// Ends the thread, and waits for that; transfers still running end without an event.
    ~TransferLoop();
    TransferLoop(const TransferLoop&) = delete;
    TransferLoop& operator=(const TransferLoop&) = delete;

    /// Starts the thread with the first transfer.
    void begin(std::shared_ptr<TransferState> transfer);
    [[nodiscard]] const std::shared_ptr<TransferInbox>& inbox() const { return inbox_; }

    /// How many of its transfers aren't done: as long as there are any, its disk may keep it.
    [[nodiscard]] std::size_t load();
    /// Whether one of those that weren't done at the last `load` is of the group.
    [[nodiscard]] bool serves(std::int64_t group) const;
    /// Whether the thread sleeps with nothing to do, so that ending it takes no time.
    [[nodiscard]] bool isAsleep() const { return asleep_.load(std::memory_order_acquire); }
    /// Whether it was made while there were descriptors for that; else it looks around now and then.
    [[nodiscard]] bool canBeWoken() const { return canBeWoken_; }

private:
    struct CloseMulti {
        void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
    };
    struct CloseShare {
        void operator()(CURLSH* share) const { curl_share_cleanup(share); }
    };
    using Connections = std::vector<std::unique_ptr<TransferConnection>>;

    /// One to begin at its time.
    struct Due {
        double time;
        std::shared_ptr<TransferState> transfer;
    };

    void run();
    void runRound();
    void spread(std::shared_ptr<TransferState> transfer);
    void beginDue();
    void add(const std::shared_ptr<TransferState>& transfer);
    void collectEnds();
    void removeConcluded(double now);
    void sleep();
    void abandonAll();

    const TransportOptions options_;
    SpeedLimiter& limiter_;
    std::unique_ptr<CURLSH, CloseShare> share_;
    std::unique_ptr<CURLM, CloseMulti> multi_;
    const bool canBeWoken_;
    std::shared_ptr<TransferInbox> inbox_;
    GatherBuffer gathered_;
    ConnectionContext context_;
    std::vector<Due> due_;                            ///< The thread's, in the order of their times.
    std::map<std::string, Due> last_;                 ///< The thread's: the last one to each server.
    Connections connections_;                         ///< The thread's.
    std::vector<std::weak_ptr<TransferState>> given_; ///< The main queue's.
    std::atomic<bool> asleep_ = true;
    std::thread thread_;
};

} // namespace fluvane
