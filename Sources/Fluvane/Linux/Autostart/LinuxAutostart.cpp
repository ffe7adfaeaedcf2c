// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Autostart/LinuxAutostart.h"

#include "Fluvane/Client/DataFolders.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/AtomicFile.h"
#include "TessivarPhrases/Phrases.h"

#include <fmt/format.h>

#include <cerrno>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace fluvane {

using tessivar::phrase;

namespace {

constexpr std::size_t longestEntry = 64UL * 1024UL;

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// The keys of the group that counts, as they stand.
std::map<std::string, std::string> keys(const std::string& text) {
    std::map<std::string, std::string> found;
    std::istringstream stream(text);
    bool inGroup = false;
    for (std::string line; std::getline(stream, line);) {
        line = trimmed(line);
        if (line.starts_with('[')) {
            inGroup = line == "[Desktop Entry]";
        } else if (const auto equals = line.find('='); inGroup && equals != std::string::npos) {
            found.emplace(trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
        }
    }
    return found;
}

/// The text with what the file's values have for it.
std::string escaped(std::string_view text) {
    std::string result;
    for (const char character : text) {
        switch (character) {
        case '\\':
            result += "\\\\";
            break;
        case '\n':
            result += "\\n";
            break;
        case '\r':
            result += "\\r";
            break;
        case '\t':
            result += "\\t";
            break;
        default:
            result += character;
        }
    }
    return result;
}

/// One word of a command line, whatever is in it: quoted for the command line, whose own marks are doubled.
std::string inQuotes(std::string_view word) {
    std::string result = "\"";
    for (const char character : word) {
        if (std::string_view("\"`$\\").find(character) != std::string_view::npos) {
            result += '\\';
        }
        result += character == '%' ? "%%" : std::string(1, character);
    }
    return result + '"';
}

std::runtime_error couldNotOpen(const std::string& reason) {
    return std::runtime_error(phrase("Couldn't open %1 at login: %2.",
                                     tessivar::AppIdentity::current.displayName,
                                     tessivar::keptShown("kept", reason)));
}

std::string ownProgram() {
    std::error_code unknown;
    return std::filesystem::read_symlink("/proc/self/exe", unknown).string();
}

} // namespace

LinuxAutostart::LinuxAutostart(const std::filesystem::path& folder, std::string program)
    : file_(folder / (tessivar::AppIdentity::current.identifier + ".desktop")), program_(std::move(program)) {
}

LinuxAutostart LinuxAutostart::forThisUser() {
    const std::filesystem::path settings = dataFolders::settingsFile();
    return {settings.parent_path().parent_path() / "autostart", ownProgram()};
}

bool LinuxAutostart::isOn() const {
    try {
        const auto text = tessivar::AtomicFile(file_).read(longestEntry);
        const auto entry = keys(text.value_or(""));
        const auto is = [&](const char* key, const char* value) {
            const auto found = entry.find(key);
            return found != entry.end() && found->second == value;
        };
        return entry.contains("Exec") && !is("Hidden", "true") && !is("X-GNOME-Autostart-enabled", "false");
    } catch (const tessivar::SystemError&) {
        return false; // the desktop can't read it either
    }
}

void LinuxAutostart::set(bool on) {
    if (!on) {
        if (unlink(file_.c_str()) != 0 && errno != ENOENT && errno != ENOTDIR) {
            throw std::runtime_error(phrase("Couldn't stop opening %1 at login: %2.",
                                            tessivar::AppIdentity::current.displayName,
                                            tessivar::keptShown("kept", tessivar::errorText(errno))));
        }
        return;
    }
    if (program_.empty()) {
        throw couldNotOpen(tessivar::kept("kept", "it isn't known where its program is"));
    }
    try {
        tessivar::createFolders(file_.parent_path(), 0700);
        tessivar::AtomicFile(file_).write(entry(), 0644);
    } catch (const tessivar::SystemError& error) {
        throw couldNotOpen(error.what());
    }
}

/// Where the program is gone the desktop passes the entry over, by what it is asked to try.
std::string LinuxAutostart::entry() const {
    const auto& identity = tessivar::AppIdentity::current;
    return fmt::format("[Desktop Entry]\n"
                       "Version=1.4\n"
                       "Type=Application\n"
                       "Name={}\n"
                       "Comment=Download files over several connections and carry on where they stopped\n"
                       "Icon={}\n"
                       "TryExec={}\n"
                       "Exec={} --background\n"
                       "Terminal=false\n"
                       "X-GNOME-Autostart-enabled=true\n",
                       identity.displayName, identity.identifier, escaped(program_),
                       escaped(inQuotes(program_)));
}

} // namespace fluvane
