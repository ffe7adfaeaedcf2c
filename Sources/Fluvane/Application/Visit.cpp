// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/Visit.h"

#include "Fluvane/Client/CLI.h"
#include "Fluvane/Client/DataFolders.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>
#include <thread>

namespace fluvane {

namespace {

constexpr std::array kinds = {"--activate", "--open", "--action", "--headless"}; // in the order of Kind
constexpr std::chrono::milliseconds betweenTries{100};

std::string takeToken() {
    std::string token;
    for (const char* name : {"DESKTOP_STARTUP_ID", "XDG_ACTIVATION_TOKEN"}) {
        if (const char* value = std::getenv(name)) {
            token = value;
            unsetenv(name);
        }
    }
    return token;
}

/// Started by a program rather than a person: the bus says by itself what it is wanted for.
bool isQuiet(const std::string& argument) {
    return argument == kinds[3] || argument == "--background" || argument == "--dbus-service";
}

/// A file's name is taken from the folder where the command was given; a leading "~" was the shell's
/// business.
std::string absoluteThing(const std::string& thing) {
    std::error_code unknown;
    const bool isRelative = !thing.starts_with('/') && std::filesystem::exists(thing, unknown);
    return isRelative ? dataFolders::absolutePath("./" + thing) : thing;
}

} // namespace

Visit Visit::from(const std::vector<std::string>& arguments) {
    Visit visit;
    visit.token = takeToken();
    const auto option = std::ranges::find_if(
        arguments, [](const std::string& argument) { return argument == kinds[1] || argument == kinds[2]; });
    if (option == arguments.end()) {
        visit.kind = std::ranges::any_of(arguments, isQuiet) ? Kind::none : Kind::activate;
        return visit;
    }
    visit.things.assign(option + 1, arguments.end());
    if (visit.things.empty()) {
        return visit; // what the desktop entry comes to without links
    }
    visit.kind = *option == kinds[1] ? Kind::open : Kind::act;
    if (visit.kind == Kind::open) {
        std::ranges::transform(visit.things, visit.things.begin(), absoluteThing);
    }
    return visit;
}

bool Visit::isOne(const std::vector<std::string>& request) {
    return !request.empty() && std::ranges::find(kinds, request[0]) != kinds.end();
}

Visit Visit::fromRequest(const std::vector<std::string>& request) {
    Visit visit;
    visit.kind = static_cast<Kind>(std::ranges::find(kinds, request[0]) - kinds.begin());
    if (request.size() > 1) {
        visit.token = request[1];
        visit.things.assign(request.begin() + 2, request.end());
    }
    return visit;
}

std::vector<std::string> Visit::request() const {
    std::vector<std::string> request = {kinds[static_cast<std::size_t>(kind)], token};
    request.insert(request.end(), things.begin(), things.end());
    return request;
}

std::optional<int> Visit::handOver(std::chrono::milliseconds patience,
                                   const std::function<bool()>& hasEnded) const {
    const auto until = std::chrono::steady_clock::now() + patience;
    while (!hasEnded()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
        if (left <= std::chrono::milliseconds(0)) {
            std::fputs("Fluvane is already running, but doesn't answer.\n", stderr);
            return 1;
        }
        if (const auto answer = cli::send(request(), dataFolders::controlSocket(), left)) {
            return answer->ok && kind != Kind::none ? 0 : refused(answer->text);
        }
        std::this_thread::sleep_for(betweenTries);
    }
    return std::nullopt;
}

/// Without a window to show there is nothing wrong with one start too many.
int Visit::refused(const std::string& text) const {
    const bool wantedSomething = kind == Kind::open || kind == Kind::act;
    std::fprintf(stderr, "%s\n", wantedSomething ? text.c_str() : "Fluvane is already running.");
    return wantedSomething ? 1 : 0;
}

} // namespace fluvane
