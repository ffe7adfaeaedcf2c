// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Crasher FOLDER WAY [anything]: begins a run in the folder and ends it in that way.
// Crasher FOLDER note: prints the note on the latest crash.
#include "Tessivar/CrashHandler.h"
#include "Tessivar/CrashNote.h"
#include "Tessivar/HangWatch.h"
#include "Tessivar/LastRun.h"
#include "TessivarCore/AppIdentity.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <barrier>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>

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

ON_PURPOSE void jumpIntoText() {
    char text[8];
    std::memcpy(text, secret.data(), sizeof text);
    void (*wild)() = nullptr;
    std::memcpy(&wild, text, sizeof wild);
    wild();
}

ON_PURPOSE void callNothing() {
    void (*volatile nothing)() = nullptr;
    nothing();
    never = 1; // so that it is a call
}

ON_PURPOSE void callTheWild() {
    void (*volatile wild)() = nullptr;
    const std::uintptr_t address = 0xdead0000; // could be code, but nothing is there
    std::memcpy(const_cast<void (**)()>(&wild), &address, sizeof address);
    wild();
    never = 1;
}

ON_PURPOSE void readPastTheEndOfAFile() {
    const int file = open((folder / "empty").c_str(), O_RDWR | O_CREAT, 0600);
    const auto* bytes = static_cast<volatile char*>(mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0));
    never = bytes[0];
}

ON_PURPOSE void overwriteTheStack() {
    std::array<char, 16> room{};
    volatile std::size_t length = 400;
    for (std::size_t at = 0; at < length; ++at) {
        *static_cast<volatile char*>(room.data() + at) = secret[at % secret.size()];
    }
}

ON_PURPOSE void damageTheHeap() {
    std::array<char*, 64> blocks{};
    for (auto& block : blocks) {
        block = static_cast<char*>(std::malloc(24));
        std::snprintf(block, 24, "%s", secret.c_str());
    }
    std::memset(blocks[0], 'h', 24UL * 48); // over the neighbours' heads
    for (auto* block : blocks) {
        std::free(block);
    }
    std::free(blocks[63]);
}

void throwWithNoOneToCatch() {
    throw OpeningError("can't open " + secret);
}
void throwOutOfNoexcept() noexcept {
    throwWithNoOneToCatch();
}

void inThread(const std::function<void()>& work) {
    std::thread(work).join();
}

void crashTwiceAtOnce() {
    std::barrier together(2);
    const auto crash = [&] {
        together.arrive_and_wait();
        touchNothing();
    };
    std::thread(crash).detach();
    crash();
}

void crashWithoutDescriptors() {
    const rlimit few{32, 32};
    setrlimit(RLIMIT_NOFILE, &few);
    while (open("/dev/null", O_RDONLY | O_CLOEXEC) >= 0) {
    }
    touchNothing();
}

void crashInAChild() {
    const pid_t child = fork();
    if (child == 0) {
        touchNothing();
    }
    int status = 0;
    waitpid(child, &status, 0);
    std::raise(SIGKILL);
}

void crashWithAReason() {
    CrashHandler::noteReason("an addition overflowed");
    std::abort();
}

std::string crashForASection() {
    touchNothing();
    return "";
}

/// Says on standard output when the hang is recorded, and goes on hanging.
void hangForEver() {
    tessivar::HangWatch watch({.folder = folder, .limit = std::chrono::milliseconds(40), .hung = [] {
                                   [[maybe_unused]] const auto told = write(STDOUT_FILENO, "h", 1);
                               }});
    watch.start();
    for (;;) {
        pause();
    }
}

/// In a thread that has signals blocked. The hang's own report is kept elsewhere.
void crashInTheWatcher() {
    tessivar::HangWatch watch(
        {.folder = folder / "hangs", .limit = std::chrono::milliseconds(40), .hung = touchNothing});
    watch.start();
    for (;;) {
        pause();
    }
}

const std::map<std::string, std::function<void()>> ways = {
    {"touch", touchNothing},
    {"overflow", [] { overflowTheStack(0); }},
    {"overflow in a thread",
     [] {
         inThread([] {
             const CrashHandler::ThreadStack stack;
             overflowTheStack(0);
         });
     }},
    {"thread", [] { inThread(touchNothing); }},
    {"hang watch", crashInTheWatcher},
    {"twice", crashTwiceAtOnce},
    {"jump", jumpIntoText},
    {"call", callNothing},
    {"wild", callTheWild},
    {"wild in a thread", [] { inThread(callTheWild); }},
    {"bus", readPastTheEndOfAFile},
    {"stack", overwriteTheStack},
    {"heap", damageTheHeap},
    {"throw", throwWithNoOneToCatch},
    {"throw in a thread", [] { inThread(throwWithNoOneToCatch); }},
    {"noexcept", throwOutOfNoexcept},
    {"reason", crashWithAReason},
    {"descriptors", crashWithoutDescriptors},
    {"no folder",
     [] {
         std::filesystem::remove_all(folder);
         touchNothing();
     }},
    {"ignored", [] { std::raise(SIGFPE); }},
    {"ill", [] { __builtin_trap(); }},
    {"trap", [] { std::raise(SIGTRAP); }},
    {"sys", [] { std::raise(SIGSYS); }},
    {"section", [] { tessivar::CrashNote(folder, {}, crashForASection).showIfNeeded([](const auto&) {}); }},
    {"child", crashInAChild},
    {"kill", [] { std::raise(SIGKILL); }},
    {"hang", hangForEver},
};

} // namespace

int main(int argc, char** argv) {
    const std::string way = argc > 2 ? argv[2] : "";
    secret = argc > 3 ? argv[3] : "";
    folder = argc > 1 ? argv[1] : "";
    tessivar::AppIdentity::current = {
        .displayName = "Crasher", .identifier = "", .projectPage = "", .version = "1.2.3"};
    if (way == "note") {
        std::fputs(tessivar::CrashNote(folder, {}).latest().c_str(), stdout);
        return 0;
    }
    if (way == "ignored") {
        std::signal(SIGFPE, SIG_IGN); // as a parent may have left it
    }
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    CrashHandler::install(folder);
    tessivar::LastRun run(folder);
    run.begin();
    if (const auto found = ways.find(way); found != ways.end()) {
        found->second();
    }
    run.end();
    return 0;
}
