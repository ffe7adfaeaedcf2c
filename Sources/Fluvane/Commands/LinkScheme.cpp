// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Commands/CommandCenter.h"

#include "Fluvane/Client/ControlSocket.h"
#include "Fluvane/Links/Links.h"
#include "FluvaneCore/Text.h"
#include "TessivarCore/Log.h"

#include <algorithm>
#include <utility>

namespace fluvane {

namespace {

/// The host, or the path of a link without one ("fluvane:add").
std::string action(const URL& link) {
    if (link.host() && !link.host()->empty()) {
        return text::lowercased(*link.host());
    }
    const std::string path = link.path();
    const auto first = path.find_first_not_of('/');
    return first == std::string::npos
               ? ""
               : text::lowercased(path.substr(first, path.find_last_not_of('/') - first + 1));
}

/// The values of all items of that name, in order.
std::vector<std::string> values(const URL& link, std::string_view name) {
    std::vector<std::string> found;
    for (auto& [item, value] : link.queryItems()) {
        if (item == name) {
            found.push_back(std::move(value));
        }
    }
    return found;
}

/// All of them together, so that no link is told apart from the others one by one: any page can write one
/// that names thousands.
std::vector<URL> linksToAdd(const URL& link) {
    std::string text;
    for (const auto& value : values(link, "url")) {
        text += value + "\n";
    }
    return links::find(text);
}

std::optional<URL> referrerOf(const URL& link) {
    const auto all = values(link, "referrer");
    const auto referrer = all.empty() ? std::nullopt : URL::parse(all[0]);
    return referrer && referrer->isWeb() ? referrer : std::nullopt;
}

/// Longer than the socket takes; the bus would.
bool isTooMuch(const std::vector<std::string>& things) {
    std::size_t bytes = 0;
    return std::ranges::any_of(things, [&](const std::string& thing) {
        bytes += thing.size();
        return bytes > controlSocket::requestLimit;
    });
}

} // namespace

/// Whoever opens such a link is any other program: it may ask for a window, never for a download.
Reply CommandCenter::open(const URL& link) {
    const std::string wanted = action(link);
    if (wanted == "add") {
        const auto links = linksToAdd(link);
        return links.empty() ? Reply{} : confirm(links, referrerOf(link));
    }
    if (wanted == "show" || wanted == "downloads") {
        return show({});
    }
    if (wanted == "settings") {
        const auto panes = values(link, "pane");
        return settings(panes.empty() ? Arguments{} : Arguments{panes[0]});
    }
    if (wanted == "welcome") {
        return welcome({});
    }
    return wanted == "whats-new" ? whatsNew({}) : Reply{};
}

Reply CommandCenter::open(const std::vector<std::string>& things) {
    if (isTooMuch(things)) {
        return {.ok = false, .text = "That's too much at once."};
    }
    Reply reply;
    links::Pasteboard handedOver;
    for (const auto& thing : things) {
        const auto link = URL::parse(thing);
        if (link && link->scheme() == "fluvane") {
            const Reply opened = open(*link);
            reply = reply.ok ? opened : reply;
        } else if (thing.starts_with('/')) {
            handedOver.urls.push_back(URL::file(thing).absoluteString());
        } else {
            handedOver.urls.push_back(thing);
        }
    }
    const auto links = links::findOn(handedOver);
    if (!links.empty()) {
        return confirm(links);
    }
    if (!handedOver.urls.empty()) {
        return {.ok = false, .text = "No links found."};
    }
    return reply;
}

Reply CommandCenter::confirm(const std::vector<URL>& links, const std::optional<URL>& referrer) {
    Reply reply = window([&](Windows& windows) { windows.newDownload(links, referrer); });
    if (!reply.ok) {
        tessivar::log::lifecycle.error("no window to confirm " + std::to_string(links.size()) +
                                       " links that another program handed over");
    }
    return reply;
}

Reply CommandCenter::act(std::string_view action) {
    if (action == "pause-all" || action == "resume-all") {
        action == "pause-all" ? manager_.pauseAll() : manager_.resumeAll();
        return {};
    }
    if (action == "show") {
        return show({});
    }
    if (action == "settings") {
        return settings({});
    }
    if (action == "new-download") {
        return window([](Windows& windows) { windows.newDownload(); });
    }
    return {.ok = false, .text = "Fluvane has no such action."};
}

} // namespace fluvane
