// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/AddedFiles.h"

#include "Fluvane/Client/CLI.h"
#include "Fluvane/Client/DataFolders.h"
#include "FluvaneCore/Words.h"
#include "TessivarBase/Descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

namespace fluvane::cli {

namespace {

constexpr std::size_t longest = 512 * 1024; ///< Bytes; a request holds twice that, with what JSON adds.

struct File {
    std::string text{};
    std::string problem{};
};

File failed(const std::string& path, const std::string& why) {
    return {.problem = "Couldn't read “" + words::escaped(path) + "”: " + why + "."};
}

File readFile(const std::string& typed) {
    const tessivar::Descriptor file(
        ::open(dataFolders::expandingTilde(typed).c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    File result;
    std::array<char, 65536> chunk; // NOLINT: filled by read
    ssize_t count = 0;
    do {
        count = file.isOpen() ? ::read(file.get(), chunk.data(), chunk.size()) : -1;
        if (count < 0 && errno != EINTR) {
            return failed(typed, std::strerror(errno)); // NOLINT: there is one thread
        }
        result.text.append(chunk.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    } while (count != 0 && result.text.size() <= longest);
    if (result.text.size() > longest) {
        return failed(typed, "It is longer than " + std::to_string(longest / 1024) + " KiB");
    }
    return canBeSent({result.text}) ? result : failed(typed, "It isn't text in UTF-8");
}

void appendHeaders(std::vector<std::string>& arguments, std::string_view text) {
    while (!text.empty()) {
        const auto end = text.find('\n');
        auto line = text.substr(0, end);
        line = line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
        if (!line.empty()) {
            arguments.emplace_back("--header");
            arguments.emplace_back(line);
        }
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    }
}

} // namespace

AddedFiles AddedFiles::read(std::vector<std::string> arguments) {
    AddedFiles result;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const bool hasValue = i + 1 < arguments.size();
        const bool isCookies = hasValue && arguments[i] == "--cookies";
        const bool isHeaders = hasValue && arguments[i] == "--header" && arguments[i + 1].starts_with('@');
        if (!isCookies && !isHeaders) {
            result.arguments.push_back(std::move(arguments[i]));
            continue;
        }
        const auto file = readFile(arguments[++i].substr(isHeaders ? 1 : 0));
        if (!file.problem.empty()) {
            return {.arguments = {}, .problem = file.problem};
        }
        if (isHeaders) {
            appendHeaders(result.arguments, file.text);
        } else {
            result.arguments.insert(result.arguments.end(), {"--cookies", file.text});
        }
    }
    return result;
}

} // namespace fluvane::cli
