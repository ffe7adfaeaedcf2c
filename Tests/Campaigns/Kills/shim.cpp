// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Preloaded into a program, kills it at one of the calls that change files: the $SHIM_NUMBERth one named
// $SHIM_CALL on a path like $SHIM_PATH, $SHIM_WHEN "before" or "after". Those named in $SHIM_LACKS aren't
// there.

#include <fcntl.h>
#include <sys/types.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <dlfcn.h>
#include <fnmatch.h>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

/// Never destroyed, as threads may still be at work at the very end: keep it where leaks are looked for.
const std::string& setting(const char* name) {
    const char* const value = std::getenv(name);
    return *new std::string(value ? value : "");
}

std::string pathOf(int file) {
    std::array<char, 4096> path{};
    const auto link = "/proc/self/fd/" + std::to_string(file);
    return ::readlink(link.c_str(), path.data(), path.size() - 1) > 0 ? path.data() : "";
}

/// What is reached through a folder that is held open has a path like any other.
std::string pathOf(const char* path) {
    constexpr std::string_view held = "/proc/self/fd/";
    if (!path || !std::string_view(path).starts_with(held)) {
        return path ? path : "";
    }
    char* rest = nullptr;
    const auto folder = std::strtol(path + held.size(), &rest, 10);
    return pathOf(static_cast<int>(folder)) + rest;
}

bool changes(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

bool isTheOne(const char* name, const std::string& path) {
    static const auto& call = setting("SHIM_CALL");
    static const auto& paths = setting("SHIM_PATH");
    static const auto& number = setting("SHIM_NUMBER");
    static std::atomic<int> left = std::atoi(number.c_str());
    return (call == name || call == "*") && left > 0 && ::fnmatch(paths.c_str(), path.c_str(), 0) == 0 &&
           --left == 0;
}

template <class Result, class... Values>
Result played(const char* name, const std::string& path, Values... values) {
    static const auto& when = setting("SHIM_WHEN");
    static const auto& lacks = setting("SHIM_LACKS");
    if ((" " + lacks + " ").find(std::string(" ") + name + " ") != std::string::npos) {
        errno = EINVAL;
        return -1;
    }
    const bool kills = isTheOne(name, path);
    if (kills && when == "before") {
        ::kill(::getpid(), SIGKILL);
    }
    const auto result = reinterpret_cast<Result (*)(Values...)>(dlsym(RTLD_NEXT, name))(values...);
    if (kills) {
        ::kill(::getpid(), SIGKILL);
    }
    return result;
}

} // namespace

// The system's names are given apart, as its headers declare them in more than one way.
#define VALUES(...) __VA_ARGS__
#define PLAY(result, name, where, values, ...)                                                               \
    extern "C" result played_##name(__VA_ARGS__) asm(#name) __attribute__((visibility("default"), used));    \
    result played_##name(__VA_ARGS__) {                                                                      \
        return played<result>(#name, pathOf(where), VALUES values);                                          \
    }

PLAY(int, open, changes(flags) ? path : nullptr, (path, flags, mode), const char* path, int flags,
     mode_t mode)
PLAY(ssize_t, read, file, (file, bytes, count), int file, void* bytes, std::size_t count)
PLAY(ssize_t, write, file, (file, bytes, count), int file, const void* bytes, std::size_t count)
PLAY(ssize_t, pwrite, file, (file, bytes, count, at), int file, const void* bytes, std::size_t count,
     off_t at)
PLAY(int, fsync, file, (file), int file)
PLAY(int, ftruncate, file, (file, size), int file, off_t size)
PLAY(int, fsetxattr, file, (file, name, value, size, flags), int file, const char* name, const void* value,
     std::size_t size, int flags)
PLAY(int, mkdir, path, (path, mode), const char* path, mode_t mode)
PLAY(int, unlink, path, (path), const char* path)
PLAY(int, rename, from, (from, to), const char* from, const char* to)
PLAY(int, renameat2, from, (a, from, b, to, flags), int a, const char* from, int b, const char* to,
     unsigned flags)
PLAY(int, link, from, (from, to), const char* from, const char* to)
PLAY(int, linkat, to, (a, from, b, to, flags), int a, const char* from, int b, const char* to, int flags)
