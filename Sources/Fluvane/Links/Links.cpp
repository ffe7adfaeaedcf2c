// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Links/Links.h"

#include "Fluvane/Links/LinkDetector.h"
#include "FluvaneCore/NumberedRange.h"
#include "FluvaneCore/Text.h"
#include "TessivarBase/ASCII.h"
#include "TessivarBase/Descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace fluvane::links {

namespace {

/// Reads a link; where a sentence goes on right behind a bare host ("https://host,then"), without that.
std::optional<URL> read(const std::string& link) {
    auto url = URL::parse(link);
    if (!url) {
        const std::size_t host = link.find("://") + 3;
        const std::size_t end = link.find_first_of(",;!|()'*", host);
        url = end < link.find('/', host) ? URL::parse(link.substr(0, end)) : std::nullopt;
    }
    return url && url->isWeb() ? url : std::nullopt;
}

/// Links in the order in which they came first.
class Unique {
public:
    void add(URL link) {
        const auto [known, isNew] = places_.try_emplace(link.absoluteString(), links_.size());
        if (isNew) {
            links_.push_back({std::move(link), 1});
        } else {
            ++links_[known->second].times;
        }
    }
    void add(std::vector<URL> links) {
        for (URL& link : links) {
            add(std::move(link));
        }
    }
    [[nodiscard]] std::vector<Counted> takeCounted() { return std::move(links_); }
    [[nodiscard]] std::vector<URL> take() {
        std::vector<URL> links;
        links.reserve(links_.size());
        for (Counted& counted : links_) {
            links.push_back(std::move(counted.link));
        }
        return links;
    }

private:
    std::vector<Counted> links_;
    std::unordered_map<std::string, std::size_t> places_;
};

Unique unique(std::string_view text) {
    Unique links;
    for (const std::string& candidate : detect(numberedRange::expand(text::repaired(text)))) {
        if (auto url = read(candidate)) {
            links.add(std::move(*url));
        }
    }
    return links;
}

bool isRegularFile(const struct stat& status) {
    return S_ISREG(status.st_mode) && status.st_size <= static_cast<off_t>(longestFile);
}

/// The whole file, absent when it can't be read or turns out longer than allowed.
std::optional<std::string> contents(int descriptor) {
    std::string result;
    std::string chunk(65536, '\0');
    while (result.size() <= longestFile) {
        const ssize_t count = ::read(descriptor, chunk.data(), chunk.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return count == 0 ? std::optional(std::move(result)) : std::nullopt;
        }
        result.append(chunk, 0, static_cast<std::size_t>(count));
    }
    return std::nullopt;
}

} // namespace

std::vector<URL> find(std::string_view text) {
    return unique(text).take();
}

std::vector<Counted> findCounted(std::string_view text) {
    return unique(text).takeCounted();
}

std::vector<OtherKind> findOthers(std::string_view text) {
    static constexpr std::pair<std::string_view, std::string_view> beginnings[] = {{"ftp", "ftp://"},
                                                                                   {"ftps", "ftps://"},
                                                                                   {"sftp", "sftp://"},
                                                                                   {"magnet", "magnet:?"},
                                                                                   {"ed2k", "ed2k://"}};
    const std::string all = text::lowercased(text::repaired(text));
    std::vector<OtherKind> found;
    for (const auto& [name, beginning] : beginnings) {
        std::size_t count = 0;
        for (auto at = all.find(beginning); at != std::string::npos; at = all.find(beginning, at + 1)) {
            count += at == 0 || !tessivar::ascii::isLetterOrDigit(all[at - 1]) ? 1 : 0;
        }
        if (count > 0) {
            found.push_back({name, count});
        }
    }
    return found;
}

std::vector<URL> findInFile(const std::filesystem::path& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0 || !isRegularFile(status)) { // opening a device may set it going
        return {};
    }
    const tessivar::Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!descriptor.isOpen() || ::fstat(descriptor.get(), &status) != 0 || !isRegularFile(status)) {
        return {};
    }
    const auto text = contents(descriptor.get());
    return text ? find(*text) : std::vector<URL>();
}

std::vector<URL> findOn(const Pasteboard& pasteboard) {
    Unique links;
    for (const std::string& text : pasteboard.urls) {
        auto url = URL::parse(text);
        if (url && url->isWeb()) {
            links.add(std::move(*url));
        } else if (url && url->isFile()) {
            links.add(findInFile(url->path()));
        }
    }
    links.add(find(pasteboard.text));
    return links.take();
}

} // namespace fluvane::links
