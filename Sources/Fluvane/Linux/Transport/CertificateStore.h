// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <functional>
#include <optional>
#include <string>

namespace fluvane {

/// Where the certificates of the trusted authorities are. With a file no folder is given to the transfer
/// library: it keeps the store in memory only then, instead of reading it for every connection.
struct CertificateStore {
    std::optional<std::string> file{};
    std::optional<std::string> folder{};

    using Environment = std::function<const char*(const char*)>;
    /// What CURL_CA_BUNDLE, SSL_CERT_FILE or SSL_CERT_DIR name (in this order), else the system's own.
    [[nodiscard]] static CertificateStore find(const Environment& environment);
    [[nodiscard]] static CertificateStore find();

    friend bool operator==(const CertificateStore&, const CertificateStore&) = default;
};

} // namespace fluvane
