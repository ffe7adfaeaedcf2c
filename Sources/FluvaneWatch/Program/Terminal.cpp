// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneWatch/Program/Terminal.h"

#include "Fluvane/Client/StandardStreams.h"

#include <sys/ioctl.h>

#include <fmt/format.h>
#include <langinfo.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <string_view>

namespace fluvane::watch {

namespace {

// No line may run on into the next row, whatever the terminal thinks of a name's width.
constexpr std::string_view enter = "\033[?25l\033[?7l";
constexpr std::string_view leave = "\033[?7h\033[?25h";

volatile std::sig_atomic_t broughtBack = 0;

void leaveFromHandler() {
    // Nothing can be done about a failure here.
    [[maybe_unused]] const auto written = write(STDOUT_FILENO, leave.data(), leave.size());
}

void end(int signal) {
    leaveFromHandler();
    _exit(128 + signal);
}

void suspend(int) {
    const int saved = errno;
    leaveFromHandler();
    raise(SIGSTOP);
    broughtBack = 1;
    errno = saved;
}

void interrupt(int) {} // only ends the wait for the next picture

void handle(int signal, void (*handler)(int), int flags = 0) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value && *value;
}

} // namespace

bool endsInUTF8() {
    std::setlocale(LC_CTYPE, "");
    return std::string_view(nl_langinfo(CODESET)) == "UTF-8";
}

bool isDrawable() {
    const char* kind = std::getenv("TERM");
    return isatty(STDOUT_FILENO) && kind && *kind && std::string_view(kind) != "dumb";
}

Terminal::Terminal() : unicode_(endsInUTF8()), colour_(!isSet("NO_COLOR")) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        handle(signal, end);
    }
    handle(SIGTSTP, suspend);
    handle(SIGWINCH, interrupt);
}

Terminal::~Terminal() {
    standardStreams::write(STDOUT_FILENO, leave);
}

Style Terminal::style() const {
    winsize size{};
    Style style{.colour = colour_, .unicode = unicode_};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0) {
        style.width = size.ws_col;
        style.height = size.ws_row;
    }
    return style;
}

// A terminal that has become narrower may have broken the last picture's lines.
std::size_t Terminal::rowsTaken(std::size_t width) const {
    std::size_t rows = 0;
    for (const auto& line : last_) {
        rows += line.width == 0 ? 1 : (line.width + width - 1) / width;
    }
    return rows;
}

void Terminal::draw(const std::vector<Line>& lines, const Style& style) {
    if (broughtBack) {
        broughtBack = 0;
        last_.clear(); // other programs have written since
    }
    std::string picture(enter);
    if (const auto rows = rowsTaken(style.width); rows > 0) {
        picture += fmt::format("\r\033[{}A", rows);
    }
    for (const auto& line : lines) {
        picture += line.text + "\033[K\n";
    }
    picture += "\033[J";
    standardStreams::write(STDOUT_FILENO, picture);
    last_ = lines;
    for (auto& line : last_) {
        line.width = std::min(line.width, style.width); // the terminal cuts off what is wider
    }
}

void waitForNextPicture(std::chrono::milliseconds time) {
    poll(nullptr, 0, static_cast<int>(time.count()));
}

} // namespace fluvane::watch
