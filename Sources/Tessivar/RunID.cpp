// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/RunID.h"

#include "TessivarCore/AtomicFile.h"

#include <fmt/format.h>

#include <charconv>

#include <unistd.h>

namespace tessivar {

namespace {

std::string readSmall(const std::string& path) {
    try {
        return AtomicFile(path).read(4096).value_or("");
    } catch (const SystemError&) {
        return "";
    }
}

std::string bootIDNow() {
    std::string id = readSmall("/proc/sys/kernel/random/boot_id");
    std::erase_if(id, [](char c) { return c == '-' || c == '\n'; });
    return id;
}

template <class Number>
bool readNumber(std::string_view text, Number& into) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), into);
    return error == std::errc() && end == text.data() + text.size();
}

/// Field 22 of the process's line, counted behind its name, which may hold anything.
std::uint64_t startTicksOf(pid_t pid) {
    const std::string line = readSmall(fmt::format("/proc/{}/stat", pid));
    std::size_t at = line.rfind(')');
    for (int field = 2; field < 22 && at != std::string::npos; ++field) {
        at = line.find(' ', at + 1);
    }
    if (at == std::string::npos) {
        return 0;
    }
    std::uint64_t ticks = 0;
    const auto rest = std::string_view(line).substr(at + 1);
    return readNumber(rest.substr(0, rest.find(' ')), ticks) ? ticks : 0;
}

} // namespace

RunID RunID::current() {
    return {getpid(), startTicksOf(getpid()), bootIDNow()};
}

std::string RunID::name() const {
    return fmt::format("{}-{}-{}", bootID, startTicks, pid);
}

std::optional<RunID> RunID::fromName(std::string_view name) {
    const std::size_t first = name.find('-');
    const std::size_t second = name.find('-', first == std::string_view::npos ? first : first + 1);
    RunID run;
    if (second == std::string_view::npos || !readNumber(name.substr(second + 1), run.pid) ||
        !readNumber(name.substr(first + 1, second - first - 1), run.startTicks)) {
        return std::nullopt;
    }
    run.bootID = name.substr(0, first);
    return run;
}

bool RunID::isOfThisBoot() const {
    return bootID == bootIDNow();
}

bool RunID::isAlive() const {
    return isOfThisBoot() && pid > 0 && startTicks != 0 && startTicksOf(pid) == startTicks;
}

} // namespace tessivar
