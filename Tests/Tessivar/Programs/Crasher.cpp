// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Crasher FOLDER WAY [anything]: begins a run in the folder and ends it in that way, or by the signal of that
// number. Crasher FOLDER note: prints the note on the latest crash.
#include "Tessivar/CrashHandler.h"
#include "Tessivar/CrashNote.h"
#include "Tessivar/HangWatch.h"
#include "Tessivar/LastRun.h"
#include "TessivarCore/AppIdentity.h"

#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

// The sanitizers would see the faults coming.
#define ON_PURPOSE __attribute__((noinline, no_sanitize("address", "undefined")))

using tessivar::CrashHandler;

namespace {

std::filesystem::path folder;
std::string secret; // in memory, as links and names of files are
volatile int never = 0;

struct OpeningError : std::runtime_error {
    using runtime_error::runtime_error;
};

ON_PURPOSE void touchNothing() {
    volatile int* volatile nowhere = nullptr;
    *nowhere = 1;
}

ON_PURPOSE int overflowTheStack(int depth) {
    std::array<volatile char, 1024> room{};
    room[static_cast<std::size_t>(depth) % room.size()] = 1;
    return never != 0 ? 0 : overflowTheStack(depth + 1) + room[0];
}

ON_PURPOSE void jumpTo(const void* bytes) {
    void (*volatile wild)() = nullptr;
    std::memcpy(const_cast<void (**)()>(&wild), bytes, sizeof wild);
    wild();
    never = 1; // so that it is a call
}

const std::map<std::string, std::function<void()>> ways = {
    {"touch", touchNothing},
    {"overflow", [] { overflowTheStack(0); }},
    {"jump into text", [] { jumpTo(secret.data()); }},
    {"throw", [] { std::thread([] { throw OpeningError("can't open " + secret); }).join(); }},
    {"section",
     [] {
         const auto section = [] { return touchNothing(), std::string(); };
         tessivar::CrashNote(folder, {}, section).showIfNeeded([](const auto&) {});
     }},
    {"hang",
     [] {
         tessivar::HangWatch watch({folder, std::chrono::milliseconds(40), [] { std::raise(SIGKILL); }});
         watch.start();
         for (;;) {
             pause();
         }
     }},
};

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> arguments(argv, argv + argc);
    arguments.resize(4);
    const auto& way = arguments[2];
    folder = arguments[1];
    secret = arguments[3];
    tessivar::AppIdentity::current = {
        .displayName = "Crasher", .identifier = "", .projectPage = "", .version = "1.2.3"};
    if (way == "note") {
        std::fputs(tessivar::CrashNote(folder, {}).latest().c_str(), stdout);
        return 0;
    }
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    CrashHandler::install(folder);
    tessivar::LastRun run(folder);
    run.begin();
    if (const auto found = ways.find(way); found != ways.end()) {
        found->second();
    } else if (const int signal = std::atoi(way.c_str()); signal > 0) {
        std::raise(signal);
    }
    run.end();
    return 0;
}
