// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <curl/curl.h>

namespace fluvane {

/// Encrypted connections take several records from the system at once, instead of two calls for each. The
/// transfer library doesn't know of the records that wait in memory then, so whoever waits for the socket
/// must ask for them first. All of it on the transfer's thread.
class ReadAhead {
public:
    /// Before the handle's transfer begins. Does nothing where records could get stuck: with another TLS
    /// library than OpenSSL, or with a proxy that is itself reached over TLS.
    static void enable(CURL* handle);
    /// Whether the handle's connection holds bytes that no readable socket will announce.
    [[nodiscard]] static bool holdsBytes(CURL* handle);
};

} // namespace fluvane
