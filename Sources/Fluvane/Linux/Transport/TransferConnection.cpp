// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/TransferConnection.h"

#include "Fluvane/Linux/Transport/NetworkReach.h"
#include "Fluvane/Linux/Transport/ReadAhead.h"
#include "Fluvane/Linux/Transport/Uptime.h"
#include "FluvaneCore/Text.h"
#include "FluvaneEngine/Log.h"

#include <algorithm>
#include <new>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

namespace {

/// Body bytes after which a transfer lets the others have their turn; left to itself the library reads on as
/// long as data is there, and would keep the thread for most of a second.
constexpr std::int64_t roundQuantum = 512 * 1024;
constexpr int unauthorized = 401;

} // namespace

TransferConnection::TransferConnection(std::shared_ptr<TransferState> transfer, ConnectionContext& context)
    : transfer_(std::move(transfer)), context_(context), easy_(curl_easy_init()), lastSign_(uptime()) {
    if (!easy_) {
        throw std::bad_alloc();
    }
    setUp();
}

TransferConnection& TransferConnection::of(CURL* handle) {
    void* self = nullptr;
    curl_easy_getinfo(handle, CURLINFO_PRIVATE, &self);
    return *static_cast<TransferConnection*>(self);
}

void TransferConnection::settle(double now) {
    inRound_ = 0;
    if (pauses_ == 0) {
        return;
    }
    unsigned left = pauses_ & ~static_cast<unsigned>(quantum);
    if (!waitsForEngine()) {
        left &= ~static_cast<unsigned>(held);
    }
    if (now >= throttledUntil_ || context_.limiter.generation() != throttledUnder_) {
        left &= ~static_cast<unsigned>(throttled);
    }
    if (left != 0) {
        pauses_ = left;
        return;
    }
    resume(now);
}

void TransferConnection::resume(double now) {
    if (pauses_ != quantum) {
        lastSign_ = now;
    }
    pauses_ = 0;
    // Hands over what it had kept at once, so the callbacks may run and pause again in here. Its answer isn't
    // needed: a callback refuses data only when the transfer is over, and broken connections are told later.
    curl_easy_pause(handle(), CURLPAUSE_CONT);
}

bool TransferConnection::conclude(double now) {
    if (transfer_->isOver()) {
        return true;
    }
    if (ended_) {
        if (std::exchange(mayAskAgain_, false)) {
            respond();
        }
        if (waitsForEngine()) {
            return false; // the end waits for the engine's answer
        }
        tellEnd(*ended_);
        return true;
    }
    if (isIdle(now)) {
        fail(CURLE_OPERATION_TIMEDOUT);
        return true;
    }
    if (pauses_ == 0 && ReadAhead::holdsBytes(handle())) {
        pause(quantum); // to go on is to read, whether or not the socket has more
    }
    return false;
}

std::optional<double> TransferConnection::nextTime() const {
    if (pauses_ == quantum) {
        return 0;
    }
    if ((pauses_ & held) != 0) {
        return std::nullopt;
    }
    return (pauses_ & throttled) != 0 ? throttledUntil_ : lastSign_ + context_.options.patience;
}

bool TransferConnection::isIdle(double now) const {
    return (pauses_ & (held | throttled)) == 0 && now - lastSign_ >= context_.options.patience;
}

/// The library sends headers along to wherever it is redirected: so each request gets those that are for its
/// origin, just before it goes out.
void TransferConnection::aboutToAsk() {
    lastSign_ = uptime();
    asked_ = true;
    if (std::exchange(mayAskAgain_, false)) {
        head_.startOver();
    }
    if (originHeaders_) {
        curl_easy_setopt(handle(), CURLOPT_HTTPHEADER, isAtOrigin() ? originHeaders_.get() : headers_.get());
    }
}

bool TransferConnection::isAtOrigin() const {
    const auto url = URL::parse(effectiveURL());
    return url && url->origin() == transfer_->request().session->origin;
}

bool TransferConnection::headLine(std::string_view line) {
    lastSign_ = uptime();
    switch (head_.add(line)) {
    case ResponseHead::Step::more:
        break;
    case ResponseHead::Step::redirect:
        asked_ = false;
        redirected_ = true;
        break;
    case ResponseHead::Step::final:
        mayAskAgain_ = hasLogin_ && head_.status() == unauthorized;
        if (mayAskAgain_) {
            noteBasic();
        } else {
            respond();
        }
        break;
    case ResponseHead::Step::unusable:
        return false;
    }
    return !transfer_->isOver();
}

void TransferConnection::noteBasic() {
    bool offersBasic = false;
    bool offersDigest = false;
    for (const auto& [name, value] : head_.headers()) {
        if (text::equalIgnoringASCIICase(name, "www-authenticate")) {
            const auto scheme = text::lowercased(value);
            offersBasic = offersBasic || scheme.find("basic") != std::string::npos;
            offersDigest = offersDigest || scheme.find("digest") != std::string::npos;
        }
    }
    if (offersBasic && !offersDigest) {
        context_.basicOrigins.insert(transfer_->request().session->origin);
    }
}

void TransferConnection::respond() {
    log::transfers([this] {
        return fmt::format("{}: {}, local port {}", transfer_->request().label,
                           longInfo(CURLINFO_NUM_CONNECTS) == 0 ? "reused connection" : "new connection",
                           longInfo(CURLINFO_LOCAL_PORT));
    });
    goodbye_.watch(handle());
    // Paused here and not at the first byte of the body: so the end of an empty body waits as well.
    pause(held);
    auto url = URL::parse(effectiveURL());
    transfer_->respond(
        TransferResponse(head_.status(), url.value_or(transfer_->request().url), head_.headers()));
}

std::size_t TransferConnection::body(std::span<const std::byte> bytes) {
    lastSign_ = uptime();
    if (std::exchange(mayAskAgain_, false)) {
        respond(); // the library reads no body of an answer that it asks again after
    }
    if (transfer_->isOver() || !head_.isFinal()) {
        return 0; // a body without an answer, as after a 101 that nobody asked for, isn't HTTP
    }
    if ((pauses_ & (held | throttled)) != 0) {
        return CURL_WRITEFUNC_PAUSE;
    }
    context_.gathered.add(*transfer_, bytes);
    const auto count = static_cast<std::int64_t>(bytes.size());
    inRound_ += count;
    throttle(count);
    // What the library has read already still comes, so that it need not be kept and copied.
    if (inRound_ >= roundQuantum && (pauses_ & quantum) == 0) {
        pause(quantum);
    }
    return bytes.size();
}

void TransferConnection::throttle(std::int64_t received) {
    inStretch_ += received;
    const auto generation = context_.limiter.generation();
    const double delay = context_.limiter.wait(received);
    if (delay > 0 && inStretch_ >= context_.limiter.stretch()) {
        inStretch_ = 0;
        throttledUntil_ = lastSign_ + delay;
        throttledUnder_ = generation;
        // The next slice is refused. To have the library pause from in here would make it read on once more
        // with each pause, and keep what it read.
        pauses_ |= throttled;
    }
}

void TransferConnection::pause(Pause reason) {
    pauses_ |= reason;
    curl_easy_pause(handle(), CURLPAUSE_RECV);
}

void TransferConnection::tellEnd(CURLcode code) {
    if (code == CURLE_OK && wasCutOff()) {
        fail(CURLE_PARTIAL_FILE);
    } else if (code == CURLE_OK && head_.isFinal()) {
        transfer_->finish();
    } else {
        fail(code);
    }
}

/// Where nothing but the end of the connection tells that of the body.
bool TransferConnection::wasCutOff() const {
    curl_off_t length = -1;
    curl_easy_getinfo(handle(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    const bool isChunked = std::ranges::any_of(head_.headers(), [](const auto& header) {
        return text::equalIgnoringASCIICase(header.first, "transfer-encoding");
    });
    return length < 0 && !isChunked && goodbye_.isMissing();
}

void TransferConnection::fail(CURLcode code) {
    const auto facts = failure(code);
    log::transfers([&] {
        return fmt::format("{}: failed with {} ({}): {}", transfer_->request().label, facts.code,
                           facts.systemError, log::hidden(detail_.data()));
    });
    const bool offline = mayBeOffline(facts) && !networkReach::beyondThisMachine(facts.peer);
    transfer_->fail({.message = sentence(facts),
                     .offline = offline,
                     .lasting = isLasting(facts),
                     .nameless = code == CURLE_COULDNT_RESOLVE_HOST && !offline});
}

TransferFailure TransferConnection::failure(CURLcode code) const {
    const auto url = URL::parse(effectiveURL()).value_or(transfer_->request().url);
    const char* peer = nullptr;
    curl_easy_getinfo(handle(), CURLINFO_PRIMARY_IP, &peer);
    return {.code = code,
            .systemError = static_cast<int>(longInfo(CURLINFO_OS_ERRNO)),
            .host = url.host().value_or(""),
            .peer = peer ? peer : "",
            .asked = asked_,
            .answered = head_.isFinal(),
            .secure = url.scheme() == "https",
            .redirected = redirected_,
            .proxyStatus = longInfo(CURLINFO_HTTP_CONNECTCODE),
            .certificate = longInfo(CURLINFO_SSL_VERIFYRESULT)};
}

std::string TransferConnection::effectiveURL() const {
    const char* text = nullptr;
    curl_easy_getinfo(handle(), CURLINFO_EFFECTIVE_URL, &text);
    return text ? text : "";
}

long TransferConnection::longInfo(CURLINFO info) const {
    long value = 0;
    curl_easy_getinfo(handle(), info, &value);
    return value;
}

} // namespace fluvane
