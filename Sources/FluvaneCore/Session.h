// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace fluvane {

/// One cookie as a browser keeps it.
struct Cookie {
    std::string name;
    std::string value;
    std::string domain; ///< Without a leading dot.
    std::string path = "/";
    bool secure = false;                   ///< Goes over https only.
    bool httpOnly = false;                 ///< No script saw it.
    bool hostOnly = false;                 ///< Is for the domain itself, not for those below it.
    std::optional<std::int64_t> expires{}; ///< Seconds since 1970; absent: with the session.
    friend bool operator==(const Cookie&, const Cookie&) = default;
};

struct Login {
    std::string user;
    std::string password;
    friend bool operator==(const Login&, const Login&) = default;
};

/// By what a server knows who asks for a file. Secret: it is in memory and in the file of sessions, and never
/// in the list, the log, a report or a picture.
struct Session {
    std::vector<Cookie> cookies{}; ///< Each goes where its domain, path and `secure` allow.
    std::optional<std::string> userAgent{};
    std::vector<std::pair<std::string, std::string>> headers{}; ///< Go to the origin only,
    std::optional<Login> login{};                               ///< and so does this.
    std::string origin{}; ///< Scheme, host and port of the link that it was given with: `URL::origin`.
    friend bool operator==(const Session&, const Session&) = default;
};

/// Shared by all requests of a download, on any thread. Null: nobody in particular.
using SharedSession = std::shared_ptr<const Session>;

} // namespace fluvane
