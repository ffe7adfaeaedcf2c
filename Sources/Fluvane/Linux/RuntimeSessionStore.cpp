// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/RuntimeSessionStore.h"

#include "FluvaneEngine/Log.h"
#include "TessivarCore/AtomicFile.h"

#include <nlohmann/json.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string_view>
#include <utility>

namespace fluvane {

namespace {

using Json = nlohmann::json;

constexpr std::size_t longest = 256 * 1024 * 1024; ///< Bytes.

template <class T>
void put(Json& json, const char* key, const std::optional<T>& value) {
    if (value) {
        json[key] = *value;
    }
}

Json encoded(const Cookie& cookie) {
    Json json = {{"name", cookie.name},        {"value", cookie.value},   {"domain", cookie.domain},
                 {"path", cookie.path},        {"secure", cookie.secure}, {"httpOnly", cookie.httpOnly},
                 {"hostOnly", cookie.hostOnly}};
    put(json, "expires", cookie.expires);
    return json;
}

Json encoded(const KeptSession& kept) {
    const Session& session = *kept.session;
    Json json = {{"id", number(kept.owner.id)},        {"added", kept.owner.added.time_since_epoch().count()},
                 {"link", kept.link.absoluteString()}, {"origin", session.origin},
                 {"headers", session.headers},         {"cookies", Json::array()}};
    for (const auto& cookie : session.cookies) {
        json["cookies"].push_back(encoded(cookie));
    }
    put(json, "userAgent", session.userAgent);
    if (session.login) {
        json["login"] = {session.login->user, session.login->password};
    }
    return json;
}

template <class T>
std::optional<T> optional(const Json& json, const char* key) {
    const auto found = json.find(key);
    return found == json.end() ? std::nullopt : std::optional(found->get<T>());
}

Cookie decodedCookie(const Json& json) {
    return {.name = json.at("name"),
            .value = json.at("value"),
            .domain = json.at("domain"),
            .path = json.at("path"),
            .secure = json.at("secure"),
            .httpOnly = json.at("httpOnly"),
            .hostOnly = json.at("hostOnly"),
            .expires = optional<std::int64_t>(json, "expires")};
}

KeptSession decoded(const Json& json) {
    Session session{.userAgent = optional<std::string>(json, "userAgent"),
                    .headers = json.at("headers").get<decltype(Session::headers)>(),
                    .origin = json.at("origin")};
    for (const auto& cookie : json.at("cookies")) {
        session.cookies.push_back(decodedCookie(cookie));
    }
    if (const auto login = json.find("login"); login != json.end()) {
        session.login = Login{.user = login->at(0), .password = login->at(1)};
    }
    const Date added{std::chrono::seconds(json.at("added").get<std::int64_t>())};
    return {.owner = Owner(DownloadID{json.at("id").get<std::int64_t>()}, added),
            .link = URL::parse(json.at("link").get<std::string>()).value(),
            .session = std::make_shared<const Session>(std::move(session))};
}

/// The folder above may be one that others write to, too: what lies there under this name is used only if
/// nobody but us can look into it.
void claimFolder(const std::string& folder) {
    tessivar::createFolders(folder, 0700);
    struct stat status {};
    if (::lstat(folder.c_str(), &status) != 0) {
        throw tessivar::SystemError(errno);
    }
    if (!S_ISDIR(status.st_mode) || status.st_uid != ::geteuid()) {
        throw tessivar::SystemError(EACCES, "Somebody else's folder is in the way");
    }
    if ((status.st_mode & 0777) != 0700 && ::chmod(folder.c_str(), 0700) != 0) {
        throw tessivar::SystemError(errno);
    }
}

void write(const std::filesystem::path& file, const std::vector<KeptSession>& sessions) {
    if (sessions.empty()) {
        ::unlink(file.c_str());
        return;
    }
    Json json = {{"version", 1}, {"sessions", Json::array()}};
    for (const auto& kept : sessions) {
        json["sessions"].push_back(encoded(kept));
    }
    claimFolder(file.parent_path());
    tessivar::AtomicFile(file).write(json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

} // namespace

RuntimeSessionStore::RuntimeSessionStore(std::filesystem::path file, const std::string& applicationIdentifier)
    : file_(std::move(file)), queue_(applicationIdentifier + ".sessions") {}

/// A message of the parser's may quote what it read.
std::vector<KeptSession> RuntimeSessionStore::load() {
    try {
        const auto text = tessivar::AtomicFile(file_).read(longest);
        if (!text) {
            return {};
        }
        std::vector<KeptSession> sessions;
        const Json json = Json::parse(*text);
        for (const auto& kept : json.at("sessions")) {
            sessions.push_back(decoded(kept));
        }
        return sessions;
    } catch (const tessivar::SystemError& error) {
        log::files.error(std::string("couldn't read the sessions: ") + error.what());
    } catch (const std::exception&) {
        log::files.error("the kept sessions make no sense");
    }
    return {};
}

void RuntimeSessionStore::keep(std::vector<KeptSession> sessions) {
    queue_.async([file = file_, sessions = std::move(sessions)] {
        try {
            write(file, sessions);
        } catch (const std::exception& error) {
            log::files.error(std::string("couldn't keep the sessions: ") + error.what());
        }
    });
}

} // namespace fluvane
