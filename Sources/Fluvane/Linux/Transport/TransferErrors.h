// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarPhrases/Phrases.h"

#include <string>

namespace fluvane {

/// What is known of a request that failed.
struct TransferFailure {
    int code = 0;          ///< The transfer library's; 0: the answer ended before its head was complete.
    int systemError = 0;   ///< The system's, 0 if unknown.
    std::string host{};    ///< The server asked last.
    std::string peer{};    ///< The address connected to last, maybe a proxy's.
    bool asked = false;    ///< A request had gone out to `host`.
    bool answered = false; ///< The final head had come.
    bool secure = false;   ///< Over TLS.
    bool redirected = false;
    long proxyStatus = 0; ///< A proxy's answer to CONNECT, 0 if none.
    long certificate =
        0; ///< Result of checking the certificate, 0 if nothing was found wrong with its chain.
};

/// A whole sentence for the user.
[[nodiscard]] std::string sentence(const TransferFailure& failure);
/// Whether a machine without network explains the failure.
[[nodiscard]] bool mayBeOffline(const TransferFailure& failure);

/// Whether trying again doesn't cure it.
[[nodiscard]] bool isLasting(const TransferFailure& failure);

namespace transferText {
inline constexpr const char* notHTTP = tessivar::markedIn("kept", "The server's answer wasn't HTTP.");
inline constexpr const char* stopped = tessivar::markedIn("kept", "The server stopped answering.");
inline constexpr std::string_view couldNotWrite =
    tessivar::markedIn("kept", "Couldn't write to the file: %1"); ///< What was wrong.
} // namespace transferText

} // namespace fluvane
