// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/SystemFacts.h"

#include "TessivarBase/ASCII.h"

#include <curl/curl.h>
#include <fmt/format.h>
#include <gnu/libc-version.h>
#include <openssl/crypto.h>
#include <sys/resource.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

namespace tessivar::systemFacts {

namespace {

constexpr std::size_t longestValue = 100;
constexpr double kibibytesPerMebibyte = 1024;

std::string contents(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The text after `key` in the line that begins with it, up to the line's end; empty when there is none.
std::string_view valueOf(std::string_view text, std::string_view key) {
    while (!text.empty()) {
        const auto line = text.substr(0, text.find('\n'));
        if (line.starts_with(key)) {
            return line.substr(key.size());
        }
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    return {};
}

std::int64_t number(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    std::int64_t result = 0;
    std::from_chars(text.data(), text.data() + text.size(), result);
    return result;
}

std::string mebibytes(std::int64_t kibibytes) {
    return fmt::format("{:.1f} MiB", static_cast<double>(kibibytes) / kibibytesPerMebibyte);
}

/// A value of the environment that is what such values are: nobody's words.
std::string plain(const char* variable) {
    const char* const value = std::getenv(variable);
    if (!value || !*value) {
        return "none";
    }
    const std::string_view text = value;
    const auto isPlain = [](char c) { return ascii::isLetterOrDigit(c) || c == ':' || c == '-' || c == '_'; };
    return text.size() <= longestValue && std::ranges::all_of(text, isPlain) ? std::string(text)
                                                                             : "something unusual";
}

const char* presence(const char* variable) {
    const char* const value = std::getenv(variable);
    return value && *value ? "yes" : "no";
}

double secondsOf(const timeval& time) {
    constexpr double microseconds = 1e6;
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / microseconds;
}

/// Seconds since this process started; absent when the system doesn't tell.
std::optional<double> age() {
    constexpr int blanksBefore =
        20; // the start is the 22nd field; the second one, in brackets, may hold blanks
    const auto text = contents("/proc/self/stat");
    auto at = text.rfind(')');
    for (int blanks = 0; blanks < blanksBefore && at != std::string::npos; ++blanks) {
        at = text.find(' ', at + 1);
    }
    timespec now{};
    if (at == std::string::npos || ::clock_gettime(CLOCK_BOOTTIME, &now) != 0) {
        return std::nullopt;
    }
    const auto ticks = number(std::string_view(text).substr(at));
    return static_cast<double>(now.tv_sec) -
           static_cast<double>(ticks) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

std::string processorLine() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const double used = secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
    auto line = fmt::format("Processor: {:.2f} s", used);
    if (const auto running = age(); running && *running >= 1) {
        line += fmt::format(" in {:.0f} s ({:.1f} %)", *running, 100 * used / *running);
    }
    return line + "\n";
}

std::ptrdiff_t openFiles() {
    std::error_code none;
    const std::filesystem::directory_iterator files("/proc/self/fd", none);
    return none ? 0 : std::distance(begin(files), end(files)) - 1; // less the one that looks
}

} // namespace

std::string distribution(std::string_view osRelease) {
    auto name = std::string(valueOf(osRelease, "PRETTY_NAME="));
    std::erase_if(name, [](char c) { return c == '"' || c == '\'' || static_cast<unsigned char>(c) < 0x20; });
    return name.substr(0, longestValue);
}

std::string versions() {
    auto text = fmt::format("libcurl: {}\n{}\n", curl_version_info(CURLVERSION_NOW)->version,
                            OpenSSL_version(OPENSSL_VERSION));
    utsname kernel{};
    if (::uname(&kernel) == 0) {
        text += fmt::format("Kernel: {} {} {}\n", kernel.sysname, kernel.release, kernel.machine);
    }
    auto name = distribution(contents("/etc/os-release"));
    name = name.empty() ? distribution(contents("/usr/lib/os-release")) : name;
    return text + fmt::format("Distribution: {}\nC library: {}\n", name.empty() ? "unknown" : name,
                              gnu_get_libc_version());
}

std::string desktop() {
    return fmt::format(
        "Desktop: {}\nSession: {}\nWayland display: {}\nX display: {}\nSession bus named: {}\n",
        plain("XDG_CURRENT_DESKTOP"), plain("XDG_SESSION_TYPE"), presence("WAYLAND_DISPLAY"),
        presence("DISPLAY"), presence("DBUS_SESSION_BUS_ADDRESS"));
}

std::string process() {
    const auto status = contents("/proc/self/status");
    return processorLine() +
           fmt::format("Memory: {}, at most {}\nThreads: {}\nOpen files: {}\nMachine: {} processors, {}\n",
                       mebibytes(number(valueOf(status, "VmRSS:"))),
                       mebibytes(number(valueOf(status, "VmHWM:"))), number(valueOf(status, "Threads:")),
                       openFiles(), ::sysconf(_SC_NPROCESSORS_ONLN),
                       mebibytes(number(valueOf(contents("/proc/meminfo"), "MemTotal:"))));
}

} // namespace tessivar::systemFacts
