// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Commands/CommandCenter.h"

#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/Commands/SessionOptions.h"
#include "Fluvane/Links/Links.h"
#include "FluvaneCore/Objections.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <utility>

namespace fluvane {

namespace {

/// What the arguments of "add" ask for.
struct Order {
    std::vector<URL> links;
    std::optional<URL> folder;
    std::optional<Checksum> checksum;
    SessionOptions session;
    std::optional<std::string> objection; ///< To one of the options.
};

bool isChecksumOption(std::string_view argument) {
    static constexpr std::array<std::string_view, 4> words = {"--checksum", "--sha256", "--sha1", "--md5"};
    return std::ranges::find(words, argument) != words.end();
}

std::vector<URL> linksIn(const std::string& argument) {
    std::error_code unknown;
    const bool isFile = argument.starts_with('/') && std::filesystem::exists(argument, unknown);
    return isFile ? links::findInFile(argument) : links::find(argument);
}

Order read(const CommandCenter::Arguments& arguments) {
    Order order;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const bool hasValue = i + 1 < arguments.size();
        if (hasValue && arguments[i] == "--to") {
            order.folder = URL::folder(dataFolders::absolutePath(arguments[++i]));
        } else if (hasValue && isChecksumOption(arguments[i])) {
            order.checksum = Checksum::recognise(arguments[++i]);
            if (!order.checksum) {
                order.objection = words::unknownChecksum;
                return order;
            }
        } else if (SessionOptions::areNamed(arguments[i])) {
            const auto option = arguments[i];
            order.objection = hasValue ? order.session.take(option, arguments[++i])
                                       : std::optional(option + " needs a value.");
            if (order.objection) {
                return order;
            }
        } else {
            std::ranges::move(linksIn(arguments[i]), std::back_inserter(order.links));
        }
    }
    return order;
}

std::optional<std::string> objection(const Order& order) {
    if (order.objection) {
        return order.objection;
    }
    if (order.links.empty()) {
        return "Give at least one http or https link: fluvane add <link>";
    }
    if (std::ranges::any_of(
            order.links, [](const URL& link) { return link.absoluteString().size() > words::longestLink; })) {
        return std::string(words::linkTooLong);
    }
    if (order.checksum && order.links.size() > 1) {
        return std::string(words::checksumForSeveral);
    }
    return std::nullopt;
}

} // namespace

Reply CommandCenter::add(const Arguments& arguments) {
    const Order order = read(arguments);
    if (auto text = objection(order)) {
        return {.ok = false, .text = std::move(*text)};
    }
    std::vector<DownloadManager::Addition> additions;
    for (const URL& url : order.links) {
        additions.push_back({.url = url,
                             .referrer = order.session.referrer(),
                             .checksum = order.checksum,
                             .session = order.session.session(url)});
    }
    Reply reply;
    for (const auto id : manager_.add(additions, order.folder, !order.folder)) {
        reply.text +=
            (reply.text.empty() ? "Added download " : "\nAdded download ") + std::to_string(number(id));
    }
    return reply;
}

} // namespace fluvane
