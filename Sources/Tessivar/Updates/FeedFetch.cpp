// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Updates/FeedFetch.h"

#include <curl/curl.h>
#include <fmt/format.h>

#include <memory>
#include <new>

namespace tessivar {

namespace {

constexpr long mostRedirects = 5;
constexpr int longestWait = 1000; // milliseconds; only a guard, since all that counts wakes it

using Easy = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
using Multi = std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)>;

struct Body {
    std::string text;
    std::size_t longest;
    bool tooLong = false;
};

std::size_t append(char* data, std::size_t, std::size_t size, void* to) noexcept {
    auto& body = *static_cast<Body*>(to);
    body.tooLong = size > body.longest - body.text.size();
    if (body.tooLong) {
        return 0;
    }
    try {
        body.text.append(data, size);
    } catch (const std::bad_alloc&) {
        return 0;
    }
    return size;
}

void setUp(CURL* easy, const FeedFetch::Request& request, Body& body) {
    const bool secure = request.url.starts_with("https:");
    curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L); // breaking off doesn't wait for a name look-up
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, secure ? "https" : "http,https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy, CURLOPT_MAXREDIRS, mostRedirects);
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(request.patience * 1000));
    curl_easy_setopt(easy, CURLOPT_USERAGENT, request.userAgent.c_str());
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    if (request.certificateFile || request.certificateFolder) {
        const auto name = [](const auto& path) { return path ? path->c_str() : nullptr; };
        curl_easy_setopt(easy, CURLOPT_CAINFO, name(request.certificateFile));
        curl_easy_setopt(easy, CURLOPT_CAPATH, name(request.certificateFolder));
    }
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &append);
}

std::string sentence(CURLcode code) {
    switch (code) {
    case CURLE_URL_MALFORMAT:
        return "The release feed's link isn't valid.";
    case CURLE_UNSUPPORTED_PROTOCOL:
        return "The release feed is neither on http nor on https.";
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_CONNECT:
        return "The release feed's server can't be reached.";
    case CURLE_OPERATION_TIMEDOUT:
        return "The release feed's server took too long.";
    case CURLE_TOO_MANY_REDIRECTS:
        return "The release feed's server redirects without end.";
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CONNECT_ERROR:
        return "No secure connection to the release feed's server could be made.";
    default:
        return fmt::format("The release feed couldn't be fetched ({}).", curl_easy_strerror(code));
    }
}

/// How the one transfer of it ended.
CURLcode outcome(CURLM* multi) {
    int left = 0;
    const CURLMsg* const message = curl_multi_info_read(multi, &left);
    return message && message->msg == CURLMSG_DONE ? message->data.result : CURLE_ABORTED_BY_CALLBACK;
}

long statusOf(CURL* easy) {
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    return status;
}

} // namespace

std::string FeedFetch::run(const Request& request) {
    const Multi multi(curl_multi_init(), curl_multi_cleanup);
    const Easy easy(curl_easy_init(), curl_easy_cleanup);
    if (!multi || !easy) {
        throw std::bad_alloc();
    }
    Body body{.text = {}, .longest = request.longest};
    setUp(easy.get(), request, body);
    curl_multi_add_handle(multi.get(), easy.get());
    perform(multi.get());
    const auto code = outcome(multi.get());
    const long status = statusOf(easy.get());
    curl_multi_remove_handle(multi.get(), easy.get());
    if (body.tooLong) {
        throw Failed("The release feed is too long.");
    }
    if (code != CURLE_OK) {
        throw Failed(sentence(code));
    }
    if (status != 200) {
        throw Failed(fmt::format("The release feed's server answered with status {}.", status));
    }
    return std::move(body.text);
}

void FeedFetch::perform(CURLM* multi) {
    {
        const std::lock_guard lock(mutex_);
        running_ = multi;
    }
    int running = 1;
    while (running > 0 && !stopped() && curl_multi_perform(multi, &running) == CURLM_OK) {
        if (running > 0) {
            curl_multi_poll(multi, nullptr, 0, longestWait, nullptr);
        }
    }
    const std::lock_guard lock(mutex_);
    running_ = nullptr;
}

void FeedFetch::stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    if (running_) {
        curl_multi_wakeup(running_);
    }
}

bool FeedFetch::stopped() {
    const std::lock_guard lock(mutex_);
    return stopped_;
}

} // namespace tessivar
