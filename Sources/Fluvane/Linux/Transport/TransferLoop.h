// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Transport/TransferConnection.h"
#include "Fluvane/Linux/Transport/TransferInbox.h"

#include <memory>
#include <thread>
#include <vector>

#include <curl/curl.h>

namespace fluvane {

/// The transfer thread: runs every transfer of a transport, and sleeps when there is nothing to do.
class TransferLoop {
public:
    /// The limiter outlives the loop.
    TransferLoop(TransportOptions options, SpeedLimiter& limiter);
    /// Ends the thread; transfers still running end without an event.
    ~TransferLoop();
    TransferLoop(const TransferLoop&) = delete;
    TransferLoop& operator=(const TransferLoop&) = delete;

    /// Starts the thread with the first transfer.
    void begin(std::shared_ptr<TransferState> transfer);
    [[nodiscard]] const std::shared_ptr<TransferInbox>& inbox() const { return inbox_; }

private:
    struct CloseMulti {
        void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
    };
    struct CloseShare {
        void operator()(CURLSH* share) const { curl_share_cleanup(share); }
    };
    using Connections = std::vector<std::unique_ptr<TransferConnection>>;

    void run();
    void runRound();
    void add(const std::shared_ptr<TransferState>& transfer);
    void collectEnds();
    void removeConcluded(double now);
    void sleep();
    void abandonAll();

    const TransportOptions options_;
    SpeedLimiter& limiter_;
    std::unique_ptr<CURLSH, CloseShare> share_;
    std::unique_ptr<CURLM, CloseMulti> multi_;
    std::shared_ptr<TransferInbox> inbox_;
    GatherBuffer gathered_;
    ConnectionContext context_;
    Connections connections_; ///< The transfer thread's.
    std::thread thread_;
};

} // namespace fluvane
