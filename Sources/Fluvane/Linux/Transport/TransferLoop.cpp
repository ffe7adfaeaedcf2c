// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/TransferLoop.h"

#include "Fluvane/Linux/Transport/Uptime.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <new>
#include <utility>

#include <pthread.h>

namespace fluvane {

namespace {

constexpr double longestSleep = 24 * 60 * 60;
constexpr double longestUnwoken = 0.1; ///< Of one that nobody can wake.
/// Seconds between connections that are to be opened at once: many servers take a burst for an attack.
constexpr double spreading = 0.025;

void initialiseLibrary() {
    static const CURLcode done = curl_global_init(CURL_GLOBAL_DEFAULT);
    static_cast<void>(done);
}

CURLM* openMulti() {
    initialiseLibrary();
    CURLM* const multi = curl_multi_init();
    if (!multi) {
        throw std::bad_alloc();
    }
    // A connection for every transfer: the engine counts on it.
    curl_multi_setopt(multi, CURLMOPT_PIPELINING, CURLPIPE_NOTHING);
    return multi;
}

CURLSH* openShare() {
    initialiseLibrary();
    CURLSH* const share = curl_share_init();
    if (!share) {
        throw std::bad_alloc();
    }
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
    return share;
}

/// Not those of a crash: a fault while its signal is blocked ends the process past every handler.
void leaveSignalsToTheMainThread() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int crash : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGTRAP, SIGSYS}) {
        sigdelset(&signals, crash);
    }
    pthread_sigmask(SIG_SETMASK, &signals, nullptr);
}

} // namespace

TransferLoop::TransferLoop(TransportOptions options, SpeedLimiter& limiter)
    : options_(std::move(options)), limiter_(limiter), share_(openShare()), multi_(openMulti()),
      canBeWoken_(curl_multi_wakeup(multi_.get()) == CURLM_OK),
      inbox_(std::make_shared<TransferInbox>([multi = multi_.get()] { curl_multi_wakeup(multi); })),
      context_{options_, limiter_, gathered_, share_.get()} {}

TransferLoop::~TransferLoop() {
    inbox_->close();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void TransferLoop::begin(std::shared_ptr<TransferState> transfer) {
    given_.push_back(transfer);
    inbox_->begin(std::move(transfer));
    if (!thread_.joinable()) {
        asleep_ = false;
        thread_ = std::thread([this] { run(); });
    }
}

std::size_t TransferLoop::load() {
    std::erase_if(given_, [](const auto& entry) {
        const auto transfer = entry.lock();
        return !transfer || transfer->isDone();
    });
    return given_.size();
}

bool TransferLoop::serves(std::int64_t group) const {
    return std::ranges::any_of(given_, [&](const auto& entry) {
        const auto transfer = entry.lock();
        return transfer && transfer->request().group == group;
    });
}

void TransferLoop::run() {
    pthread_setname_np(pthread_self(), "transfer");
    leaveSignalsToTheMainThread();
    while (auto starting = inbox_->take()) {
        std::for_each(starting->begin(), starting->end(), [this](const auto& transfer) { spread(transfer); });
        beginDue();
        runRound();
        sleep();
    }
    abandonAll();
}

void TransferLoop::runRound() {
    const double now = uptime();
    for (const auto& connection : connections_) {
        connection->settle(now);
    }
    int running = 0;
    curl_multi_perform(multi_.get(), &running);
    gathered_.flush();
    collectEnds();
    removeConcluded(now);
}

void TransferLoop::spread(std::shared_ptr<TransferState> transfer) {
    std::erase_if(last_, [](const auto& entry) { return entry.second.transfer->isOver(); });
    const double now = uptime();
    const auto server = transfer->request().url.site().value_or("");
    const auto before = last_.find(server);
    const double time = before == last_.end() ? now : std::max(now, before->second.time + spreading);
    last_.insert_or_assign(server, Due{time, transfer});
    const auto place = std::ranges::upper_bound(due_, time, {}, &Due::time);
    due_.insert(place, Due{time, std::move(transfer)});
}

void TransferLoop::beginDue() {
    const double now = uptime();
    while (!due_.empty() && due_.front().time <= now) {
        const auto transfer = std::move(due_.front().transfer);
        due_.erase(due_.begin());
        add(transfer);
    }
}

void TransferLoop::add(const std::shared_ptr<TransferState>& transfer) {
    if (transfer->isOver()) {
        transfer->release();
        return;
    }
    try {
        auto connection = std::make_unique<TransferConnection>(transfer, context_);
        if (curl_multi_add_handle(multi_.get(), connection->handle()) != CURLM_OK) {
            throw std::bad_alloc();
        }
        connections_.push_back(std::move(connection));
    } catch (const std::bad_alloc&) {
        transfer->fail({tessivar::kept("kept", "There isn't enough memory for another connection.")});
    }
}

void TransferLoop::collectEnds() {
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(multi_.get(), &left)) {
        if (message->msg == CURLMSG_DONE) {
            TransferConnection::of(message->easy_handle).ended(message->data.result);
        }
    }
}

/// `now` is from before the round: a slow write in it is no silence of the other servers.
void TransferLoop::removeConcluded(double now) {
    std::erase_if(connections_, [&](const auto& connection) {
        const bool concluded = connection->conclude(now);
        if (concluded) {
            curl_multi_remove_handle(multi_.get(), connection->handle());
            connection->transfer().release();
        }
        return concluded;
    });
}

void TransferLoop::sleep() {
    double until = uptime() + (canBeWoken_ ? longestSleep : longestUnwoken);
    until = due_.empty() ? until : std::min(until, due_.front().time);
    for (const auto& connection : connections_) {
        until = std::min(until, connection->nextTime().value_or(until));
    }
    const double seconds = until - uptime();
    if (seconds > 0) {
        asleep_ = connections_.empty() && due_.empty();
        curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(std::ceil(seconds * 1000)), nullptr);
        asleep_ = false;
    }
}

void TransferLoop::abandonAll() {
    for (const auto& connection : connections_) {
        connection->transfer().abandon();
        curl_multi_remove_handle(multi_.get(), connection->handle());
    }
    connections_.clear();
    for (const auto& entry : due_) {
        entry.transfer->abandon();
    }
    due_.clear();
}

} // namespace fluvane
