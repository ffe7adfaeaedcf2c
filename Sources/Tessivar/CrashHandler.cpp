// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/CrashHandler.h"

#include "Tessivar/Report.h"
#include "Tessivar/ReportWriter.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/FileSystem.h"
#include "TessivarCore/Log.h"

#include <cxxabi.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <new>
#include <typeinfo>

namespace tessivar {

namespace {

constexpr std::size_t stackSize = 128UL * 1024UL;
/// A handler that never comes to its end, on a damaged stack for example, must not keep the process.
constexpr unsigned patienceInSeconds = 10;

struct Fatal {
    int signal;
    const char* name;
};
constexpr std::array fatals = {
    Fatal{SIGSEGV, "SIGSEGV"}, Fatal{SIGBUS, "SIGBUS"},   Fatal{SIGILL, "SIGILL"}, Fatal{SIGFPE, "SIGFPE"},
    Fatal{SIGABRT, "SIGABRT"}, Fatal{SIGTRAP, "SIGTRAP"}, Fatal{SIGSYS, "SIGSYS"},
};

/// All that the handler needs, made ready before: it can neither take memory nor ask for anything then.
struct Prepared {
    pid_t process = 0;
    int folder = -1;
    int spare = -1; ///< Given up for the report when there is no other descriptor left.
    std::array<char, 128> reportName{};
    std::array<char, 64> program{};
    std::array<char, 64> version{};
    std::int64_t began = 0;
    std::array<struct sigaction, fatals.size()> before{};
};

Prepared prepared;
StackTrace stackTrace; // of the one thread that reports; too big for a signal's stack
std::atomic<const char*> exceptionType = nullptr;
std::atomic<const char*> reason = nullptr;
std::atomic<pid_t> reporter = 0;
std::atomic<int> fatalSignal = 0;
siginfo_t fatalFacts{};
std::atomic<ReportWriter*> unfinished = nullptr;
std::atomic<bool> isWalking = false;

static_assert(std::atomic<const char*>::is_always_lock_free && std::atomic<pid_t>::is_always_lock_free);

std::size_t indexOf(int signal) {
    const auto* at = std::ranges::find(fatals, signal, &Fatal::signal);
    return static_cast<std::size_t>(at - fatals.begin());
}

void unblock(int signal) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

/// As if we had never been there; the original facts go along, for the core dump.
[[noreturn]] void takeDefaultCourse(int signal, siginfo_t* info) {
    alarm(0); // a core dump takes its time
    struct sigaction action = prepared.before[indexOf(signal)];
    if (action.sa_handler == SIG_IGN) {
        action.sa_handler = SIG_DFL;
    }
    sigaction(signal, &action, nullptr);
    unblock(signal);
    if (!info || ::syscall(SYS_rt_tgsigqueueinfo, ::getpid(), ::syscall(SYS_gettid), signal, info) != 0) {
        raise(signal);
    }
    _exit(128 + signal);
}

void endOfPatience(int) {
    takeDefaultCourse(fatalSignal, nullptr);
}

void limitPatience() {
    struct sigaction action {};
    action.sa_handler = endOfPatience;
    sigaction(SIGALRM, &action, nullptr);
    unblock(SIGALRM);
    alarm(patienceInSeconds);
}

int openReport() {
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    int file = openat(prepared.folder, prepared.reportName.data(), flags, 0600);
    if (file < 0 && (errno == EMFILE || errno == ENFILE)) {
        close(prepared.spare);
        file = openat(prepared.folder, prepared.reportName.data(), flags, 0600);
    }
    return file;
}

void writeCircumstances(ReportWriter& writer, int signal, const siginfo_t& info) {
    const bool fault = info.si_code > 0 && (signal == SIGSEGV || signal == SIGBUS);
    writer.text("Signal: ").text(fatals[indexOf(signal)].name).text("\nCode: ").decimal(info.si_code);
    if (fault) {
        writer.text("\nAddress: ").hexadecimal(reinterpret_cast<std::uintptr_t>(info.si_addr));
    }
    if (const char* type = exceptionType) {
        writer.text("\nException: ").text(type);
    }
    if (const char* words = reason) {
        writer.text("\nReason: ").text(words);
    }
    writer.text("\nThread: ").text(threadKind()).text("\nStack:\n");
}

void writeRestOfStack(ReportWriter& writer) {
    stackTrace.write(writer, prepared.program.data(), 1);
    writer.text("End\n");
    writer.flush();
}

struct Crash {
    int signal;
    const siginfo_t& info;
    const void* context;
};

void writeReport(int file, const Crash& crash) {
    ReportWriter writer(file);
    unfinished = &writer;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    writeReportHead(writer, {.kind = "crash",
                             .program = prepared.program.data(),
                             .version = prepared.version.data(),
                             .began = prepared.began,
                             .time = now.tv_sec});
    writeCircumstances(writer, crash.signal, crash.info);
    writer.frame(0, interruptedAt(crash.context), prepared.program.data());
    writer.flush(); // this much is safe before the stack is walked, which may be damaged
    isWalking = true;
    stackTrace.capture(crash.context);
    isWalking = false;
    writeRestOfStack(writer);
    unfinished = nullptr;
}

/// A crash while the report was being written: what there is of it has to do.
void giveUpReport() {
    ReportWriter* writer = unfinished.exchange(nullptr);
    if (writer && isWalking) {
        stackTrace.settle();
        writeRestOfStack(*writer);
    } else if (writer) {
        writer->flush();
    }
}

void onFatalSignal(int signal, siginfo_t* info, void* context) {
    if (getpid() != prepared.process) { // a child that hasn't become its own program yet
        takeDefaultCourse(signal, info);
    }
    const auto thread = static_cast<pid_t>(::syscall(SYS_gettid));
    pid_t first = 0;
    if (reporter.compare_exchange_strong(first, thread)) {
        fatalSignal = signal;
        fatalFacts = *info;
        limitPatience();
        if (const int file = openReport(); file >= 0) {
            writeReport(file, {.signal = signal, .info = *info, .context = context});
            close(file);
        }
    } else if (first != thread) {
        for (;;) {
            pause(); // the process ends with the thread that crashed first
        }
    } else {
        giveUpReport();
    }
    takeDefaultCourse(fatalSignal, &fatalFacts); // of the first crash, should there be another
}

/// The type only: what() may hold a link or the name of a file.
[[noreturn]] void onTerminate() {
    if (const std::type_info* type = abi::__cxa_current_exception_type()) {
        exceptionType = type->name();
    }
    std::abort();
}

void prepareFolder(const std::filesystem::path& folder) {
    try {
        createFolders(folder, 0700);
        prepared.folder = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (prepared.folder < 0) {
            throw SystemError(errno);
        }
        removeOldReports(folder);
    } catch (const std::exception& error) {
        log::lifecycle.error("no crash report could be kept", error);
    }
}

template <std::size_t size>
void keep(std::array<char, size>& into, const std::string& text) {
    into.fill('\0');
    text.copy(into.data(), size - 1);
}

/// Once through all of it, into nothing: what is loaded or bound at its first use is there then.
void rehearse() {
    ucontext_t here{};
    const siginfo_t nothing{};
    writeReport(prepared.spare, {.signal = SIGABRT, .info = nothing, .context = &here});
}

void takeSignals() {
    for (std::size_t at = 0; at < fatals.size(); ++at) {
        struct sigaction action {};
        action.sa_sigaction = onFatalSignal;
        // A second fault on the way comes to us as well, instead of cutting the report off.
        action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
        sigaction(fatals[at].signal, &action, &prepared.before[at]);
    }
}

} // namespace

void CrashHandler::install(const std::filesystem::path& folder) noexcept {
    try {
        prepareFolder(folder);
        const RunID run = RunID::current();
        prepared.process = getpid();
        prepared.spare = open("/dev/null", O_WRONLY | O_CLOEXEC);
        prepared.began = std::time(nullptr);
        keep(prepared.reportName, reportName("crash", run));
        keep(prepared.program, AppIdentity::current.displayName);
        keep(prepared.version, AppIdentity::current.version);
        rehearse();
        alignas(ThreadStack) static std::array<std::byte, sizeof(ThreadStack)> room;
        new (room.data()) ThreadStack; // for ever: the process may crash while it exits
        takeSignals();
        std::set_terminate(onTerminate);
    } catch (const std::exception& error) {
        log::lifecycle.error("crashes won't be reported", error);
    }
}

void CrashHandler::noteReason(const char* words) noexcept {
    reason = words;
}

sigset_t CrashHandler::signalsOfOthers() noexcept {
    sigset_t signals;
    sigfillset(&signals);
    for (const Fatal& fatal : fatals) {
        sigdelset(&signals, fatal.signal);
    }
    return signals;
}

CrashHandler::ThreadStack::ThreadStack() noexcept {
    void* memory =
        mmap(nullptr, stackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (memory == MAP_FAILED) {
        return;
    }
    const auto guard = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    mprotect(memory, guard, PROT_NONE);
    stack_t stack{};
    stack_t before{};
    stack.ss_sp = static_cast<char*>(memory) + guard;
    stack.ss_size = stackSize - guard;
    if (sigaltstack(&stack, &before) != 0) {
        munmap(memory, stackSize);
        return;
    }
    memory_ = memory;
    before_ = before.ss_sp;
    beforeSize_ = before.ss_size;
    beforeFlags_ = before.ss_flags;
}

CrashHandler::ThreadStack::~ThreadStack() {
    if (memory_ != nullptr) {
        stack_t before{};
        before.ss_sp = before_;
        before.ss_size = beforeSize_;
        before.ss_flags = beforeFlags_;
        sigaltstack(&before, nullptr);
        munmap(memory_, stackSize);
    }
}

} // namespace tessivar
