// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/ReadAhead.h"

#include <array>
#include <cstddef>
#include <cstdlib>
#include <string_view>

#include <openssl/ssl.h>
#include <strings.h>

namespace fluvane {

namespace {

/// Two records. Of more the library would move what lies behind each record it takes out.
constexpr std::size_t bufferSize = 34 * 1024;
/// In the browsers' order: the smaller key is no less safe in practice, and cheaper.
constexpr const char* suites = "TLS_AES_128_GCM_SHA256:TLS_AES_256_GCM_SHA384:TLS_CHACHA20_POLY1305_SHA256";

bool usesOpenSSL() {
    const auto* const version = curl_version_info(CURLVERSION_NOW)->ssl_version;
    return version && std::string_view(version).starts_with("OpenSSL/");
}

bool proxyUsesTLS() {
    constexpr std::array names = {"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"};
    for (const char* name : names) {
        const char* const value = std::getenv(name);
        if (value && ::strncasecmp(value, "https:", 6) == 0) {
            return true;
        }
    }
    return false;
}

CURLcode setUp(CURL*, void* settings, void*) noexcept {
    auto* const context = static_cast<SSL_CTX*>(settings);
    SSL_CTX_set_read_ahead(context, 1);
    SSL_CTX_set_default_read_buffer_len(context, bufferSize);
    SSL_CTX_clear_mode(context, SSL_MODE_RELEASE_BUFFERS); // else it is had anew for every read
    SSL_CTX_set_ciphersuites(context, suites);
    return CURLE_OK;
}

} // namespace

void ReadAhead::enable(CURL* handle) {
    static const bool possible = usesOpenSSL() && !proxyUsesTLS();
    if (possible) {
        curl_easy_setopt(handle, CURLOPT_SSL_CTX_FUNCTION, setUp);
    }
}

bool ReadAhead::holdsBytes(CURL* handle) {
    const curl_tlssessioninfo* session = nullptr;
    if (curl_easy_getinfo(handle, CURLINFO_TLS_SSL_PTR, &session) != CURLE_OK || !session ||
        session->backend != CURLSSLBACKEND_OPENSSL || !session->internals) {
        return false;
    }
    return SSL_has_pending(static_cast<const SSL*>(session->internals)) == 1;
}

} // namespace fluvane
