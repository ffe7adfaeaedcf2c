// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/CLI.h"
#include "Fluvane/Client/ControlSocket.h"
#include "TessivarBase/Descriptor.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <system_error>

namespace fluvane::cli {

namespace {

using tessivar::Descriptor;

/// Everything below runs between fork and exec: system calls only.
void detachStreams() {
    const int nothing = open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(nothing, stream);
    }
    // Nothing of the caller's stays open in the application, such as a pipe whose end somebody waits for.
    close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
}

[[noreturn]] void becomeApplication(const char* executable, int failures) {
    detachStreams();
    // The application must not keep a disk busy because it was started from there.
    if (chdir("/") == 0) {
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        execl(executable, executable, "--background", static_cast<char*>(nullptr));
    }
    const char failed = 1;
    [[maybe_unused]] const auto told = write(failures, &failed, 1);
    _exit(1);
}

/// The grandchild belongs to the system's first process, so nobody has to wait for it.
[[noreturn]] void forkAgain(const char* executable, int failures) {
    setsid();
    const pid_t grandchild = fork();
    if (grandchild == 0) {
        becomeApplication(executable, failures);
    }
    _exit(grandchild > 0 ? 0 : 1);
}

bool endedWell(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// While it lives, a child can be waited for: a caller that ignores SIGCHLD hands that on, and then the
/// child's end is told to nobody. The application starts without it, too.
class ChildrenAreTold {
public:
    ChildrenAreTold() {
        struct sigaction usual {};
        usual.sa_handler = SIG_DFL;
        sigaction(SIGCHLD, &usual, &before_);
    }
    ~ChildrenAreTold() { sigaction(SIGCHLD, &before_, nullptr); }
    ChildrenAreTold(const ChildrenAreTold&) = delete;
    ChildrenAreTold& operator=(const ChildrenAreTold&) = delete;

private:
    struct sigaction before_ {};
};

/// The pipe ends without a byte once the application's executable has replaced the fork.
bool endsEmpty(int descriptor) {
    char failed = 0;
    ssize_t count = 0;
    do {
        count = read(descriptor, &failed, 1);
    } while (count < 0 && errno == EINTR);
    return count == 0;
}

} // namespace

bool launchApp() {
    std::error_code unknown;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", unknown);
    return !unknown && launchApp(executable.native());
}

bool launchApp(const std::string& executable) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    const Descriptor readEnd(ends[0]);
    Descriptor writeEnd(ends[1]);
    const ChildrenAreTold meanwhile;
    const pid_t child = fork();
    if (child < 0) {
        return false;
    }
    if (child == 0) {
        forkAgain(executable.c_str(), writeEnd.get());
    }
    writeEnd.reset();
    return endedWell(child) && endsEmpty(readEnd.get());
}

} // namespace fluvane::cli
