// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/CertificateStore.h"
#include "Fluvane/Linux/Transport/NetworkReach.h"
#include "Fluvane/Linux/Transport/TransferErrors.h"

#include <cerrno>
#include <map>

#include <curl/curl.h>
#include <gtest/gtest.h>

namespace fluvane::support {

TEST(TransferErrors, SayWhatWentWrong) {
    struct Row {
        TransferFailure failure;
        const char* sentence;
        bool mayBeOffline;
    };
    const std::vector<Row> rows = {
        {{.code = CURLE_COULDNT_RESOLVE_HOST, .host = "a.example"},
         "The server a.example wasn't found.",
         true},
        {{.code = CURLE_COULDNT_CONNECT, .systemError = ENETUNREACH, .host = "a.example"},
         "Couldn't connect to a.example: Network is unreachable.",
         true},
        {{.code = CURLE_COULDNT_CONNECT,
          .systemError = ENETUNREACH,
          .host = "a.example",
          .peer = "127.0.0.1"},
         "Couldn't connect to a.example: Network is unreachable.",
         false},
        {{.code = CURLE_RECV_ERROR, .host = "a.example", .proxyStatus = 403},
         "The proxy refused the connection (status 403).",
         true},
        {{.code = CURLE_PEER_FAILED_VERIFICATION, .certificate = 10},
         "The server's certificate has expired.",
         false},
        {{.code = CURLE_OPERATION_TIMEDOUT, .host = "a.example"}, "The server stopped answering.", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.sentence);
        EXPECT_EQ(sentence(row.failure), row.sentence);
        EXPECT_EQ(mayBeOffline(row.failure), row.mayBeOffline);
    }
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
    const auto find = [](std::map<std::string, const char*> values) {
        return CertificateStore::find(
            [&](const char* name) { return values.contains(name) ? values.at(name) : nullptr; });
    };
    EXPECT_EQ(find({{"SSL_CERT_FILE", ""}, {"SSL_CERT_DIR", "/b"}}), (CertificateStore{.folder = "/b"}));
    EXPECT_NE(find({}), CertificateStore());
}

} // namespace fluvane::support
