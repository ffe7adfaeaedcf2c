#include "Fluvane/Commands/CommandCenter.h"

#include "Fluvane/Links/Links.h"
#include "FluvaneCore/Text.h"
#include "TessivarCore/Log.h"

#include <algorithm>
#include <array>

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

std::size_t linksToAdd(const URL& link) {
    std::size_t count = 0;
    for (const auto& [name, value] : link.queryItems()) {
        count += name == "url" ? Links::find(value).size() : 0;
    }
    return count;
}

} // namespace

/// Whoever opens such a link is any other program: it may ask for a window, never for a download. Without
/// windows nobody can be asked, so all there is to do is to say so.
Reply CommandCenter::open(const URL& link) {
    const std::string wanted = action(link);
    if (wanted == "add") {
        const auto count = linksToAdd(link);
        return count > 0 ? confirm(count) : Reply{};
    }
    static constexpr std::array windows = {"show", "downloads", "settings", "welcome", "whats-new"};
    if (std::ranges::find(windows, wanted) == windows.end()) {
        return {};
    }
    tessivar::log::lifecycle.error("no window for a link of the link scheme: " + wanted);
    return window({});
}

Reply CommandCenter::open(const std::vector<std::string>& things) {
    Reply reply;
    Links::Pasteboard handedOver;
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
    const auto count = Links::findOn(handedOver).size();
    if (count > 0) {
        return confirm(count);
    }
    if (!handedOver.urls.empty()) {
        return {.ok = false, .text = "No links found."};
    }
    return reply;
}

Reply CommandCenter::confirm(std::size_t links) {
    tessivar::log::lifecycle.error("no window to confirm " + std::to_string(links) +
                                   " links that another program handed over");
    return window({});
}

Reply CommandCenter::act(std::string_view action) {
    if (action == "pause-all" || action == "resume-all") {
        action == "pause-all" ? manager_.pauseAll() : manager_.resumeAll();
        return {};
    }
    static constexpr std::array<std::string_view, 3> windows = {"show", "new-download", "settings"};
    if (std::ranges::find(windows, action) != windows.end()) {
        return window({});
    }
    return {.ok = false, .text = "Fluvane has no such action."};
}

} // namespace fluvane
