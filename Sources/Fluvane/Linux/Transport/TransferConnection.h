// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Transport/GatherBuffer.h"
#include "Fluvane/Linux/Transport/Goodbye.h"
#include "Fluvane/Linux/Transport/ResponseHead.h"
#include "Fluvane/Linux/Transport/SpeedLimiter.h"
#include "Fluvane/Linux/Transport/TransferErrors.h"
#include "Fluvane/Linux/Transport/TransferState.h"
#include "Fluvane/Linux/Transport/TransportOptions.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include <curl/curl.h>

namespace fluvane {

/// What the connections of one transfer thread have in common.
struct ConnectionContext {
    const TransportOptions& options;
    SpeedLimiter& limiter;
    GatherBuffer& gathered;
    CURLSH* shared; ///< TLS sessions.
    /// Origins that asked for a user name and password by "Basic": they get them at once the next time.
    std::set<std::string> basicOrigins{};
};

/// One transfer as its thread runs it. Lives and is called on that thread only.
class TransferConnection {
public:
    /// Throws std::bad_alloc.
    TransferConnection(std::shared_ptr<TransferState> transfer, ConnectionContext& context);
    TransferConnection(const TransferConnection&) = delete;
    TransferConnection& operator=(const TransferConnection&) = delete;

    [[nodiscard]] CURL* handle() const { return easy_.get(); }
    [[nodiscard]] TransferState& transfer() { return *transfer_; }
    [[nodiscard]] static TransferConnection& of(CURL* handle);

    /// Before a round: continues what need not wait any longer.
    void settle(double now);
    /// The library is done with the request.
    void ended(CURLcode code) { ended_ = code; }
    /// After a round: tells the end if there is one. True once the connection can go.
    [[nodiscard]] bool conclude(double now);
    /// When it needs the thread's attention without anything arriving; 0: in the next round.
    [[nodiscard]] std::optional<double> nextTime() const;

private:
    /// Why nothing is read. Reading goes on when no reason is left.
    enum Pause : unsigned {
        held = 1,      ///< The engine hasn't answered the head.
        throttled = 2, ///< The speed limit.
        quantum = 4,   ///< Enough for one round.
    };
    struct CloseEasy {
        void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
    };
    struct FreeList {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };

    void setUp();
    void setUpSecurity();
    using Headers = std::unique_ptr<curl_slist, FreeList>;
    static void add(Headers& headers, const std::string& line);
    void addHeaders();
    void addSession(const Session& session);
    void addLogin(const Session& session);
    [[nodiscard]] bool isAtOrigin() const;

    [[nodiscard]] bool headLine(std::string_view line);
    [[nodiscard]] std::size_t body(std::span<const std::byte> bytes);
    void aboutToAsk();
    void respond();
    void noteBasic();
    void pause(Pause reason);
    void throttle(std::int64_t received);
    void resume(double now);
    [[nodiscard]] bool isIdle(double now) const;
    [[nodiscard]] bool waitsForEngine() const { return head_.isFinal() && !transfer_->isAccepted(); }
    void tellEnd(CURLcode code);
    [[nodiscard]] bool wasCutOff() const;
    void fail(CURLcode code);
    [[nodiscard]] TransferFailure failure(CURLcode code) const;
    [[nodiscard]] std::string effectiveURL() const;
    [[nodiscard]] long longInfo(CURLINFO info) const;

    std::shared_ptr<TransferState> transfer_;
    ConnectionContext& context_;
    Headers headers_;
    Headers originHeaders_; ///< With the session's, for its origin alone; null without any.
    std::array<char, CURL_ERROR_SIZE> detail_{};
    std::unique_ptr<CURL, CloseEasy> easy_;
    ResponseHead head_;
    Goodbye goodbye_;
    unsigned pauses_ = 0;
    std::int64_t inRound_ = 0;   ///< Body bytes received in this round.
    std::int64_t inStretch_ = 0; ///< And since the speed limit last held it back.
    double throttledUntil_ = 0;
    std::uint64_t throttledUnder_ = 0; ///< The limit's generation.
    double lastSign_;                  ///< Of life.
    bool asked_ = false;
    bool hasLogin_ = false;
    bool mayAskAgain_ = false; ///< After a 401 that the login may answer: what comes next shows it.
    bool redirected_ = false;
    std::optional<CURLcode> ended_;
};

} // namespace fluvane
