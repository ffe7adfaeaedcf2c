// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/CertificateStore.h"
#include "Fluvane/Linux/Transport/NetworkReach.h"
#include "Fluvane/Linux/Transport/TransferErrors.h"
#include "FluvaneCore/Words.h"
#include "TessivarPhrases/Language.h"

#include <cerrno>

#include <curl/curl.h>
#include <gtest/gtest.h>

namespace fluvane::support {

using namespace std::string_view_literals;

TEST(TransferErrors, SayWhatWentWrong) {
    const auto expect = [](TransferFailure failure, const char* text, bool offline) {
        failure.host = "a.example";
        EXPECT_EQ(sentence(failure), text);
        EXPECT_EQ(mayBeOffline(failure), offline) << text;
    };
    expect({.code = CURLE_COULDNT_RESOLVE_HOST}, "The server a.example wasn't found.", true);
    const char* const unreachable = "Couldn't connect to a.example: Network is unreachable.";
    expect({.code = CURLE_COULDNT_CONNECT, .systemError = ENETUNREACH}, unreachable, true);
    expect({.code = CURLE_COULDNT_CONNECT, .systemError = ENETUNREACH, .peer = "127.0.0.1"}, unreachable,
           false);
    expect({.code = CURLE_RECV_ERROR, .proxyStatus = 403}, "The proxy refused the connection (status 403).",
           true);
    expect({.code = CURLE_PEER_FAILED_VERIFICATION, .certificate = 10},
           "The server's certificate has expired.", false);
    expect({.code = CURLE_OPERATION_TIMEDOUT}, "The server stopped answering.", true);
}

/// Failures are kept in English and are found in the catalogue when they are shown.
TEST(TransferErrors, AreTranslated) {
    const auto find = [](const char* name) { return name == "LANG"sv ? "de" : nullptr; };
    tessivar::setLanguage(tessivar::readLanguage(find, {FLUVANE_CATALOGUES}, "fluvane"));
    for (int code = CURLE_OK; code < CURL_LAST; ++code) {
        for (const int error : {0, ECONNREFUSED}) {
            const auto text =
                sentence({.code = static_cast<CURLcode>(code), .systemError = error, .host = "a.example"});
            EXPECT_NE(words::sentence(text), text);
        }
    }
    tessivar::setLanguage({});
}

TEST(NetworkReach, KnowsThisMachine) {
    for (const char* host : {"localhost", "a.localhost", "127.9.9.9", "[::1]", "::ffff:127.0.0.1"}) {
        EXPECT_TRUE(networkReach::isLoopback(host)) << host;
    }
    for (const char* host : {"", "10.0.0.1", "127.0.0.1.example", "mylocalhost", "[::2]"}) {
        EXPECT_FALSE(networkReach::isLoopback(host)) << host;
    }
}

TEST(CertificateStore, ListensToTheEnvironment) {
    const auto find = [](const char* name) { return name == "SSL_CERT_DIR"sv ? "/b" : ""; };
    EXPECT_EQ(CertificateStore::find(find), (CertificateStore{.folder = "/b"}));
    EXPECT_NE(CertificateStore::find([](auto) { return nullptr; }), CertificateStore());
}

} // namespace fluvane::support
