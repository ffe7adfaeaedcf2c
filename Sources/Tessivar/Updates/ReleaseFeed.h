// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tessivar {

/// What the publisher says about the newest release. The file is a JSON object of two texts:
///
///     "feed"       JSON of its own, see below
///     "signature"  the Ed25519 signature of the feed's bytes, in base64
///
/// and the feed is an object of
///
///     "application"  identifier of the application
///     "serial"       integer, 1 or more, that grows with each feed published
///     "version"      of the newest release
///     "summary"      a sentence or two on it, may be missing
///     "page"         http or https link of where to get it, may be missing
struct ReleaseFeed {
    std::int64_t serial = 0;
    std::string version;
    std::string summary;
    std::string page;

    /// Why a feed isn't taken; what() is a sentence.
    class Refused : public std::runtime_error {
    public:
        using std::runtime_error::runtime_error;
    };

    struct Publisher {
        std::string_view key; ///< Ed25519, in base64, its 32 bytes or its DER form.
        std::string_view application;
    };
    /// The feed in the file's text if its signature is by the publisher's key and it is for the application;
    /// Refused otherwise. Nothing of the feed is looked at before the signature.
    [[nodiscard]] static ReleaseFeed read(std::string_view text, const Publisher& publisher);
};

} // namespace tessivar
