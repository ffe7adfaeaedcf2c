// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/TransferErrors.h"

#include "Fluvane/Linux/Transport/NetworkReach.h"
#include "TessivarPhrases/Phrases.h"

#include <cerrno>
#include <string_view>
#include <system_error>

#include <curl/curl.h>

namespace fluvane {

using tessivar::kept;

namespace {

std::string named(const std::string& host) {
    return host.empty() ? kept("kept", "the server") : host;
}

/// The system's own words for an error.
std::string systemWords(int error) {
    return std::generic_category().message(error);
}

/// The numbers are those of X509_verify_cert(3).
std::string certificateSentence(long result) {
    switch (result) {
    case 0:
    case 1: // unspecified: the name is compared before the chain's result is noted
        return kept("kept", "The server's certificate is for another name.");
    case 9:
        return kept("kept", "The server's certificate isn't valid yet.");
    case 10:
        return kept("kept", "The server's certificate has expired.");
    case 23:
        return kept("kept", "The server's certificate has been revoked.");
    default:
        return kept("kept", "The server's certificate isn't trusted.");
    }
}

bool proxyRefused(const TransferFailure& failure) {
    const bool broke = failure.code == CURLE_RECV_ERROR || failure.code == CURLE_COULDNT_CONNECT ||
                       failure.code == CURLE_PROXY;
    return broke && failure.proxyStatus != 0 && failure.proxyStatus / 100 != 2;
}

std::string unsupportedSentence(const TransferFailure& failure) {
    if (failure.asked) {
        return transferText::notHTTP;
    }
    return failure.redirected
               ? kept("kept", "The server redirected to a link that is neither http nor https.")
               : kept("kept", "The link is neither http nor https.");
}

std::string librarySentence(CURLcode code) {
    std::string_view words = curl_easy_strerror(code);
    words = words.substr(0, words.find_last_not_of('.') + 1);
    return kept("kept", "The transfer failed: %1.", words);
}

std::string unreachedSentence(const TransferFailure& failure) {
    if (failure.systemError == 0) {
        return kept("kept", "Couldn't connect to %1.", named(failure.host));
    }
    return kept("kept", "Couldn't connect to %1: %2.", named(failure.host), systemWords(failure.systemError));
}

/// Without an error of the system it is the library that didn't like what it read; or TLS, which doesn't say.
std::string brokenSentence(const TransferFailure& failure) {
    if (failure.code == CURLE_RECV_ERROR && failure.systemError == 0 && !failure.secure) {
        return failure.answered ? kept("kept", "The server's answer was garbled.")
                                : std::string(transferText::notHTTP);
    }
    if (failure.systemError == 0) {
        return kept("kept", "The connection to %1 broke.", named(failure.host));
    }
    return kept("kept", "The connection to %1 broke: %2.", named(failure.host),
                systemWords(failure.systemError));
}

} // namespace

std::string sentence(const TransferFailure& failure) {
    if (proxyRefused(failure)) {
        return kept("kept", "The proxy refused the connection (status %1).", failure.proxyStatus);
    }
    switch (failure.code) {
    case CURLE_OK:
    case CURLE_GOT_NOTHING:
        return kept("kept", "The server closed the connection without answering.");
    case CURLE_UNSUPPORTED_PROTOCOL:
        return unsupportedSentence(failure);
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_WRITE_ERROR: // only a head that has no end is refused that way
        return transferText::notHTTP;
    case CURLE_URL_MALFORMAT:
        return failure.redirected ? kept("kept", "The server redirected to a link that isn't valid.")
                                  : kept("kept", "The link isn't valid.");
    case CURLE_COULDNT_RESOLVE_PROXY:
        return kept("kept", "The proxy wasn't found.");
    case CURLE_COULDNT_RESOLVE_HOST:
        return kept("kept", "The server %1 wasn't found.", failure.host);
    case CURLE_COULDNT_CONNECT:
        return unreachedSentence(failure);
    case CURLE_PROXY:
        return kept("kept", "The proxy refused the connection.");
    case CURLE_PARTIAL_FILE:
        return kept("kept", "The server closed the connection early.");
    case CURLE_OPERATION_TIMEDOUT:
        return transferText::stopped;
    case CURLE_TOO_MANY_REDIRECTS:
        return kept("kept", "The server redirected too many times.");
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
        return brokenSentence(failure);
    case CURLE_SSL_CONNECT_ERROR:
        return kept("kept", "Couldn't make a secure connection to %1.", named(failure.host));
    case CURLE_PEER_FAILED_VERIFICATION:
        return certificateSentence(failure.certificate);
    case CURLE_SSL_CACERT_BADFILE:
        return kept("kept", "Couldn't read the certificates of the trusted authorities.");
    default:
        return librarySentence(static_cast<CURLcode>(failure.code));
    }
}

bool mayBeOffline(const TransferFailure& failure) {
    if (networkReach::isLoopback(failure.host) || networkReach::isLoopback(failure.peer)) {
        return false;
    }
    switch (failure.code) {
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
        return true;
    case CURLE_COULDNT_CONNECT:
        return failure.systemError == ENETUNREACH || failure.systemError == EHOSTUNREACH ||
               failure.systemError == ENETDOWN || failure.systemError == ETIMEDOUT;
    default:
        return false;
    }
}

bool isLasting(const TransferFailure& failure) {
    constexpr long wrongPassword = 407;
    switch (failure.code) {
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_URL_MALFORMAT:
    case CURLE_TOO_MANY_REDIRECTS:
        return true;
    case CURLE_UNSUPPORTED_PROTOCOL:
        return !failure.asked;
    default:
        return failure.proxyStatus == wrongPassword;
    }
}

} // namespace fluvane
