// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/CertificateStore.h"

#include <array>
#include <cstdlib>

#include <unistd.h>

namespace fluvane {

namespace {

/// In the order Debian, Fedora, openSUSE, Alpine; older Fedora; Arch.
constexpr std::array bundles = {
    "/etc/ssl/certs/ca-certificates.crt",
    "/etc/pki/ca-trust/extracted/pem/tls-ca-bundle.pem",
    "/etc/ssl/ca-bundle.pem",
    "/etc/ssl/cert.pem",
    "/etc/pki/tls/certs/ca-bundle.crt",
    "/etc/ca-certificates/extracted/tls-ca-bundle.pem",
};
constexpr const char* systemFolder = "/etc/ssl/certs";

} // namespace

CertificateStore CertificateStore::find(const Environment& environment) {
    const auto value = [&](const char* name) -> std::optional<std::string> {
        const char* text = environment(name);
        return text && *text ? std::optional<std::string>(text) : std::nullopt;
    };
    for (const char* name : {"CURL_CA_BUNDLE", "SSL_CERT_FILE"}) {
        if (auto file = value(name)) {
            return {.file = std::move(file)};
        }
    }
    if (auto folder = value("SSL_CERT_DIR")) {
        return {.folder = std::move(folder)};
    }
    for (const char* bundle : bundles) {
        if (::access(bundle, R_OK) == 0) {
            return {.file = bundle};
        }
    }
    return {.folder = systemFolder};
}

CertificateStore CertificateStore::find() {
    return find([](const char* name) -> const char* { return std::getenv(name); });
}

} // namespace fluvane
