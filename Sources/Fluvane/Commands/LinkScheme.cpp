#include "Fluvane/Commands/CommandCenter.h"

#include "Fluvane/Links/Links.h"
#include "FluvaneCore/Text.h"
#include "TessivarCore/Log.h"

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
/// windows nobody can be asked, so all there is to do is to say so in the log.
void CommandCenter::open(const URL& link) {
    const std::string wanted = action(link);
    if (wanted == "add") {
        if (const auto count = linksToAdd(link); count > 0) {
            tessivar::log::lifecycle.error("no window to confirm " + std::to_string(count) +
                                           " links opened through the link scheme");
        }
    } else if (wanted == "show" || wanted == "downloads" || wanted == "settings" || wanted == "welcome" ||
               wanted == "whats-new") {
        tessivar::log::lifecycle.error("no window for a link of the link scheme: " + wanted);
    }
}

} // namespace fluvane
