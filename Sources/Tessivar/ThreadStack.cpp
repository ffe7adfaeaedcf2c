// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/ThreadStack.h"

#include "TessivarCore/AtomicFile.h"

#include <fmt/format.h>

#include <semaphore.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>

namespace tessivar {

namespace {

constexpr int stackSignal = SIGURG;

enum Request : int { none, asked, taking, taken };

struct Exchange {
    std::atomic<int> request = none;
    std::atomic<pid_t> thread = 0;
    StackTrace trace;
    sem_t answered{};
};
Exchange exchange; // with the handler, which can be given nothing else

void onStackAsked(int, siginfo_t*, void* context) {
    const int before = errno;
    int expected = asked;
    if (::syscall(SYS_gettid) == exchange.thread &&
        exchange.request.compare_exchange_strong(expected, taking)) {
        exchange.trace.capture(context);
        exchange.request = taken;
        sem_post(&exchange.answered);
    }
    errno = before;
}

bool answeredWithinASecond() {
    timespec until{};
    clock_gettime(CLOCK_MONOTONIC, &until);
    ++until.tv_sec;
    int result = 0;
    do {
        result = sem_clockwait(&exchange.answered, CLOCK_MONOTONIC, &until);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

} // namespace

ThreadStackReader::ThreadStackReader() : thread_(static_cast<pid_t>(::syscall(SYS_gettid))) {
    sem_init(&exchange.answered, 0, 0);
    exchange.thread = thread_;
    exchange.request = none;
    exchange.trace.capture(nullptr); // loads now what may not be loaded within a handler
    struct sigaction action {};
    action.sa_sigaction = onStackAsked;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    sigaction(stackSignal, &action, &before_);
}

ThreadStackReader::~ThreadStackReader() {
    sigaction(stackSignal, &before_, nullptr);
}

const StackTrace* ThreadStackReader::read() {
    int expected = taken;
    exchange.request.compare_exchange_strong(expected, none);
    expected = none;
    if (!exchange.request.compare_exchange_strong(expected, asked)) {
        return nullptr; // it has been at the last one ever since
    }
    while (sem_trywait(&exchange.answered) == 0) {
    }
    ::syscall(SYS_tgkill, getpid(), thread_, stackSignal);
    bool answered = answeredWithinASecond();
    expected = asked;
    if (!answered && !exchange.request.compare_exchange_strong(expected, none)) {
        answered = answeredWithinASecond(); // it had just begun
    }
    return answered && exchange.request == taken ? &exchange.trace : nullptr;
}

char ThreadStackReader::state() const {
    try {
        const auto line = AtomicFile(fmt::format("/proc/self/task/{}/stat", thread_)).read().value_or("");
        const auto name = line.rfind(')'); // which may hold anything
        return name != std::string::npos && name + 2 < line.size() ? line[name + 2] : '?';
    } catch (const SystemError&) {
        return '?';
    }
}

} // namespace tessivar
