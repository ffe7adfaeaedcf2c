// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

/// How a connection's request is put to the transfer library.

#include "Fluvane/Linux/Transport/CookieLine.h"
#include "Fluvane/Linux/Transport/ReadAhead.h"
#include "Fluvane/Linux/Transport/TransferConnection.h"

#include <algorithm>
#include <new>

#include <fmt/format.h>

namespace fluvane {

namespace {

/// Large, since every read also sends the server a word about the room there is. The memory is used only by
/// connections that are fast enough to fill it. Under a speed limit what is read lies waiting: keep that
/// small.
constexpr long receiveBuffer = 256 * 1024;
constexpr long limitedReceiveBuffer = 64 * 1024;
constexpr long mostRedirects = 20;
constexpr const char* webProtocols = "http,https";
constexpr const char* userAgent = "Fluvane/" FLUVANE_VERSION " (Linux)";

/// A server need not know a referrer's user and password, nor the place on its page.
std::string refererText(const URL& referrer) {
    const URL bare = referrer.withoutCredentials();
    return bare.absoluteString().substr(0, bare.absoluteString().find('#'));
}

bool fitsInHeader(const std::string& value) {
    return std::none_of(value.begin(), value.end(),
                        [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
}

} // namespace

void TransferConnection::setUp() {
    CURL* easy = handle();
    curl_easy_setopt(easy, CURLOPT_PRIVATE, this);
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, detail_.data());
    curl_easy_setopt(easy, CURLOPT_SHARE, context_.shared);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L); // a cancel doesn't wait for a name look-up
    curl_easy_setopt(easy, CURLOPT_BUFFERSIZE,
                     context_.limiter.capacity() ? limitedReceiveBuffer : receiveBuffer);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(context_.options.patience * 1000));

    curl_easy_setopt(easy, CURLOPT_URL, transfer_->request().url.absoluteString().c_str());
    curl_easy_setopt(easy, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, webProtocols);
    curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, webProtocols);
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy, CURLOPT_MAXREDIRS, mostRedirects);
    curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    curl_easy_setopt(easy, CURLOPT_COOKIEFILE, ""); // cookies that redirects set live as long as the transfer
    curl_easy_setopt(easy, CURLOPT_USERAGENT, userAgent);
    curl_easy_setopt(easy, CURLOPT_NOBODY, transfer_->request().headOnly ? 1L : 0L);
    setUpSecurity();
    addHeaders();
    if (transfer_->request().session) {
        addSession(*transfer_->request().session);
    }

    curl_easy_setopt(easy, CURLOPT_PREREQDATA, this);
    curl_easy_setopt(
        easy, CURLOPT_PREREQFUNCTION, +[](void* self, char*, char*, int, int) noexcept -> int {
            static_cast<TransferConnection*>(self)->aboutToAsk();
            return CURL_PREREQFUNC_OK;
        });
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(
        easy, CURLOPT_HEADERFUNCTION, +[](char* data, size_t, size_t size, void* self) noexcept -> size_t {
            return static_cast<TransferConnection*>(self)->headLine({data, size}) ? size : 0;
        });
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(
        easy, CURLOPT_WRITEFUNCTION, +[](char* data, size_t, size_t size, void* self) noexcept -> size_t {
            return static_cast<TransferConnection*>(self)->body(std::as_bytes(std::span(data, size)));
        });
}

void TransferConnection::setUpSecurity() {
    const auto& [file, folder] = context_.options.certificates;
    const char* const fileName = file ? file->c_str() : nullptr;
    const char* const folderName = folder ? folder->c_str() : nullptr;
    curl_easy_setopt(handle(), CURLOPT_CAINFO, fileName);
    curl_easy_setopt(handle(), CURLOPT_CAPATH, folderName);
    curl_easy_setopt(handle(), CURLOPT_PROXY_CAINFO, fileName);
    curl_easy_setopt(handle(), CURLOPT_PROXY_CAPATH, folderName);
    ReadAhead::enable(handle());
}

void TransferConnection::addHeaders() {
    const auto& request = transfer_->request();
    add(headers_, "Accept-Encoding: identity");
    if (request.from) {
        add(headers_, fmt::format("Range: bytes={}-{}", *request.from,
                                  request.to ? std::to_string(*request.to) : std::string()));
    }
    if (request.ifRange) {
        add(headers_, "If-Range: " + *request.ifRange);
    }
    if (request.referrer) {
        add(headers_, "Referer: " + refererText(*request.referrer));
    }
    curl_easy_setopt(handle(), CURLOPT_HTTPHEADER, headers_.get());
}

void TransferConnection::add(Headers& headers, const std::string& line) {
    if (!fitsInHeader(line)) {
        return;
    }
    auto* const longer = curl_slist_append(headers.get(), line.c_str());
    if (!longer) {
        throw std::bad_alloc();
    }
    static_cast<void>(headers.release());
    headers.reset(longer);
}

// The session

/// What holds for cookies and logins after redirects is the library's to keep; for headers see `aboutToAsk`.
void TransferConnection::addSession(const Session& session) {
    for (const auto& cookie : session.cookies) {
        if (const auto line = cookieLine(cookie)) {
            curl_easy_setopt(handle(), CURLOPT_COOKIELIST, line->c_str());
        }
    }
    if (session.userAgent && fitsInHeader(*session.userAgent)) {
        curl_easy_setopt(handle(), CURLOPT_USERAGENT, session.userAgent->c_str());
    }
    if (!session.headers.empty()) {
        for (const auto* own = headers_.get(); own; own = own->next) {
            add(originHeaders_, own->data);
        }
        for (const auto& [name, value] : session.headers) {
            add(originHeaders_, value.empty() ? name + ";" : name + ": " + value); // the library's way
        }
    }
    addLogin(session);
}

/// Elsewhere than at its origin nobody gets it: the library keeps to where it began.
void TransferConnection::addLogin(const Session& session) {
    const URL& url = transfer_->request().url;
    hasLogin_ = session.login && url.origin() == session.origin;
    if (!hasLogin_) {
        return;
    }
    const bool isBasic = context_.basicOrigins.contains(session.origin);
    // Those in the link would go before these.
    curl_easy_setopt(handle(), CURLOPT_URL, url.withoutCredentials().absoluteString().c_str());
    curl_easy_setopt(handle(), CURLOPT_USERNAME, session.login->user.c_str());
    curl_easy_setopt(handle(), CURLOPT_PASSWORD, session.login->password.c_str());
    curl_easy_setopt(handle(), CURLOPT_HTTPAUTH, isBasic ? CURLAUTH_BASIC : CURLAUTH_BASIC | CURLAUTH_DIGEST);
    curl_easy_setopt(handle(), CURLOPT_UNRESTRICTED_AUTH, 0L);
}

} // namespace fluvane
