// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tessivar::support {

/// A program of the tests' in a process of its own, its standard output in a pipe; ended with its owner.
class Child {
public:
    Child(const std::string& program, std::vector<std::string> arguments,
          std::vector<std::string> environment) {
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_CLOEXEC) != 0) {
            return;
        }
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        arguments.insert(arguments.begin(), program);
        posix_spawn(&pid_, program.c_str(), &files, nullptr, pointers(arguments).data(),
                    pointers(environment).data());
        posix_spawn_file_actions_destroy(&files);
        close(ends[1]);
        output_ = ends[0];
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            wait();
        }
        close(output_);
    }

    [[nodiscard]] pid_t pid() const { return pid_; }

    /// What it writes, up to `most` bytes or its end.
    std::string read(std::size_t most = SIZE_MAX) {
        std::string text;
        char next = 0;
        while (text.size() < most && ::read(output_, &next, 1) == 1) {
            text += next;
        }
        return text;
    }

    /// Waits for its end: the signal that ended it, 0 when it ended by itself.
    int wait() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = 0;
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }

private:
    static std::vector<char*> pointers(std::vector<std::string>& texts) {
        std::vector<char*> all;
        for (auto& text : texts) {
            all.push_back(text.data());
        }
        all.push_back(nullptr);
        return all;
    }

    pid_t pid_ = 0;
    int output_ = -1;
};

/// Sanitizers leave a program's own handlers alone only when asked to.
inline const char* const sanitizersStandBack =
    "handle_segv=0:handle_sigbus=0:handle_abort=0:handle_sigill=0:handle_sigfpe=0:handle_sigtrap=0:"
    "use_sigaltstack=0:detect_leaks=0";

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool isSanitized = true;
#else
inline constexpr bool isSanitized = false;
#endif

inline Child crasher(const std::string& folder, const std::string& way, const std::string& words = "") {
    const std::string options = sanitizersStandBack;
    return {CRASHER,
            {folder, way, words},
            {"ASAN_OPTIONS=" + options, "TSAN_OPTIONS=" + options, "SECRET=" + words, "HOME=" + folder}};
}

} // namespace tessivar::support
