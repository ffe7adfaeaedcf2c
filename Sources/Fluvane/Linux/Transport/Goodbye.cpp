// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/Goodbye.h"

#include <openssl/ssl.h>

namespace fluvane {

namespace {

using Said = std::shared_ptr<bool>;

void release(void*, void* said, CRYPTO_EX_DATA*, int, long, void*) {
    delete static_cast<Said*>(said);
}

int place() {
    static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, release);
    return index;
}

void note(const SSL* session, int where, int alert) {
    const auto* const said = static_cast<const Said*>(SSL_get_ex_data(session, place()));
    if (said && where == SSL_CB_READ_ALERT && (alert & 0xff) == SSL_AD_CLOSE_NOTIFY) {
        **said = true;
    }
}

} // namespace

void Goodbye::watch(CURL* handle) {
    const curl_tlssessioninfo* info = nullptr;
    if (curl_easy_getinfo(handle, CURLINFO_TLS_SSL_PTR, &info) != CURLE_OK || !info ||
        info->backend != CURLSSLBACKEND_OPENSSL || !info->internals) {
        return;
    }
    auto* const session = static_cast<SSL*>(info->internals);
    const auto* known = static_cast<const Said*>(SSL_get_ex_data(session, place()));
    if (!known) {
        auto made = std::make_unique<Said>(std::make_shared<bool>(false));
        if (SSL_set_ex_data(session, place(), made.get()) != 1) {
            return;
        }
        known = made.release();
        SSL_set_info_callback(session, note);
    }
    said_ = *known;
}

} // namespace fluvane
