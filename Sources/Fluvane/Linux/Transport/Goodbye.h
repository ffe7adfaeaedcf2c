// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <memory>

#include <curl/curl.h>

namespace fluvane {

/// Whether the peer of a TLS connection has said that it sends no more. A body without a length that ends
/// without that was cut off, by whomever. The library doesn't tell, and forgets it with the connection.
class Goodbye {
public:
    /// Watches the connection that the transfer uses; one without TLS needs no goodbye.
    void watch(CURL* handle);
    [[nodiscard]] bool isMissing() const { return said_ && !*said_; }

private:
    std::shared_ptr<const bool> said_;
};

} // namespace fluvane
