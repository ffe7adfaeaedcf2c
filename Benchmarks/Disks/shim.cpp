// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Preloaded into a program, plays a disk in trouble for files whose path begins with $SHIM_FOLDER: they take
// $SHIM_RATE bytes per second, whatever changes them waits while the file $SHIM_HANG exists, and the file
// $SHIM_FAIL, which is mapped, says which calls wait or fail (see `Failing`).

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

std::string setting(const char* name) {
    const char* const value = std::getenv(name);
    return value ? value : "";
}

enum class Call : int { none, open, create, write, read, sync, move, resize, mark, mkdir, unlink };

/// What $SHIM_FAIL begins with. It is in force when `call` is set.
struct Failing {
    std::atomic<Call> call;
    std::atomic<int> before; ///< So many of these calls pass.
    std::atomic<int> times;  ///< Then so many fail or wait.
    std::atomic<int> code;   ///< With this errno; with 0 they wait while `call` is the same, and go on.
    std::atomic<int> met;    ///< How many there were.
    std::atomic<int> waiting;
    char path[1024]; ///< Of the last of them, where it has one.
};

Failing* mappedFailing() {
    const int file = ::open(setting("SHIM_FAIL").c_str(), O_RDWR | O_CLOEXEC);
    if (file < 0) {
        return nullptr;
    }
    void* const map = ::mmap(nullptr, sizeof(Failing), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ::close(file);
    return map == MAP_FAILED ? nullptr : static_cast<Failing*>(map);
}

/// Never destroyed, as threads may still write at the very end.
struct Disk {
    std::string folder = setting("SHIM_FOLDER");
    std::string hang = setting("SHIM_HANG");
    double rate = std::atof(setting("SHIM_RATE").c_str());
    std::mutex lock;                      ///< Of those who change `due`.
    std::atomic<Clock::time_point> due{}; ///< When all that was written so far is there.
    std::array<std::atomic<bool>, 65536> open{};
    std::atomic<Failing*> failing;
};

/// Before anybody else opens a file.
__attribute__((constructor)) void mapFailing();

Disk& disk() {
    static auto& made = *new Disk;
    return made;
}

template <class Call>
Call* next(const char* name) {
    return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, name));
}

/// What is reached through a folder that is held open has a path like any other.
std::string resolved(const char* path) {
    const std::string given(path ? path : "");
    constexpr std::string_view held = "/proc/self/fd/";
    const auto end = std::min(given.find('/', held.size()), given.size());
    if (!given.starts_with(held)) {
        return given;
    }
    std::array<char, 4096> folder{};
    const bool isHeld = ::readlink(given.substr(0, end).c_str(), folder.data(), folder.size() - 1) > 0;
    return (isHeld ? folder.data() : "") + given.substr(end);
}

bool isThere(const char* path) {
    return path && !disk().folder.empty() && resolved(path).starts_with(disk().folder);
}

bool isThere(int file) {
    return file >= 0 && static_cast<std::size_t>(file) < disk().open.size() &&
           disk().open[static_cast<std::size_t>(file)];
}

/// Until it answers, and has all that was written before.
template <class... Files>
void awaitDisk(Files... files) {
    if (!(isThere(files) || ...)) {
        return;
    }
    while (!disk().hang.empty() && ::access(disk().hang.c_str(), F_OK) == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    std::this_thread::sleep_until(disk().due.load());
}

void mapFailing() {
    disk().failing = mappedFailing();
}

void tellPath(Failing& failing, const char* path) {
    std::strncpy(failing.path, resolved(path).c_str(), sizeof failing.path - 1);
}

void tellPath(Failing&, int) {}

/// Whether the call is to fail, with `errno` set then.
template <class... Files>
bool fails(Call call, Files... files) {
    Failing* const failing = disk().failing;
    if (!failing || call == Call::none || failing->call != call || !(isThere(files) || ...) ||
        failing->before.fetch_sub(1) > 0 || failing->times.fetch_sub(1) <= 0) {
        return false;
    }
    (tellPath(*failing, files), ...);
    const int code = failing->code;
    ++failing->waiting;
    ++failing->met;
    while (code == 0 && failing->call == call) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    --failing->waiting;
    errno = code;
    return code != 0;
}

void note(int file, bool isOpen) {
    if (file >= 0 && static_cast<std::size_t>(file) < disk().open.size()) {
        disk().open[static_cast<std::size_t>(file)] = isOpen;
    }
}

template <class... Values>
int opened(const char* name, const char* path, int flags, Values... values) {
    if ((flags & (O_WRONLY | O_RDWR | O_CREAT)) != 0) {
        awaitDisk(path);
    }
    if (fails((flags & O_CREAT) != 0 ? Call::create : Call::open, path)) {
        return -1;
    }
    const int file = next<int(Values...)>(name)(values...);
    if (isThere(path)) {
        note(file, true);
    }
    return file;
}

ssize_t written(const char* name, int file, const void* bytes, std::size_t count, off_t at) {
    awaitDisk(file);
    if (fails(Call::write, file)) {
        return -1;
    }
    const auto done = next<ssize_t(int, const void*, std::size_t, off_t)>(name)(file, bytes, count, at);
    if (done > 0 && isThere(file) && disk().rate > 0) {
        const std::lock_guard lock(disk().lock);
        const std::chrono::duration<double> takes(static_cast<double>(done) / disk().rate);
        disk().due =
            std::max(disk().due.load(), Clock::now()) + std::chrono::duration_cast<Clock::duration>(takes);
    }
    return done;
}

} // namespace

// The system's names are given apart, as its headers declare them in more than one way.
#define UNPACK(...) __VA_ARGS__
#define PLAYED(name) asm(#name) __attribute__((visibility("default"), used))
/// A call that waits for the disk of `where`, and is then as it was or fails.
#define PLAY(call, result, name, where, arguments, ...)                                                      \
    extern "C" result played_##name(__VA_ARGS__) PLAYED(name);                                               \
    result played_##name(__VA_ARGS__) {                                                                      \
        awaitDisk where;                                                                                     \
        return fails(Call::call, UNPACK where) ? -1 : next<result(__VA_ARGS__)>(#name) arguments;            \
    }
/// The mode counts only for who gives one; it then comes as any other argument.
#define PLAY_OPEN(name)                                                                                      \
    extern "C" int played_##name(const char*, int, mode_t) PLAYED(name);                                     \
    int played_##name(const char* path, int flags, mode_t mode) {                                            \
        return opened(#name, path, flags, path, flags, mode);                                                \
    }
#define PLAY_OPENAT(name)                                                                                    \
    extern "C" int played_##name(int, const char*, int, mode_t) PLAYED(name);                                \
    int played_##name(int folder, const char* path, int flags, mode_t mode) {                                \
        return opened(#name, path, flags, folder, path, flags, mode);                                        \
    }
#define PLAY_PWRITE(name)                                                                                    \
    extern "C" ssize_t played_##name(int, const void*, std::size_t, off_t) PLAYED(name);                     \
    ssize_t played_##name(int file, const void* bytes, std::size_t count, off_t at) {                        \
        return written(#name, file, bytes, count, at);                                                       \
    }

PLAY_OPEN(open)
PLAY_OPEN(open64)
PLAY_OPENAT(openat)
PLAY_OPENAT(openat64)
PLAY_PWRITE(pwrite)
PLAY_PWRITE(pwrite64)
PLAY(write, ssize_t, write, (file), (file, bytes, count), int file, const void* bytes, std::size_t count)
PLAY(read, ssize_t, read, (file), (file, bytes, count), int file, void* bytes, std::size_t count)
PLAY(read, ssize_t, pread, (file), (file, bytes, count, at), int file, void* bytes, std::size_t count,
     off_t at)
PLAY(sync, int, fsync, (file), (file), int file)
PLAY(sync, int, fdatasync, (file), (file), int file)
PLAY(none, int, sync_file_range, (file), (file, at, count, flags), int file, off_t at, off_t count,
     unsigned flags)
PLAY(resize, int, ftruncate, (file), (file, size), int file, off_t size)
PLAY(resize, int, ftruncate64, (file), (file, size), int file, off_t size)
PLAY(mark, int, fsetxattr, (file), (file, name, value, size, flags), int file, const char* name,
     const void* value, std::size_t size, int flags)
PLAY(unlink, int, unlink, (path), (path), const char* path)
PLAY(mkdir, int, mkdir, (path), (path, mode), const char* path, mode_t mode)
PLAY(move, int, rename, (from, to), (from, to), const char* from, const char* to)
PLAY(move, int, renameat2, (from, to), (a, from, b, to, flags), int a, const char* from, int b,
     const char* to, unsigned flags)
PLAY(move, int, link, (from, to), (from, to), const char* from, const char* to)
/// By it a file that has no name is given its name.
PLAY(create, int, linkat, (to), (a, from, b, to, flags), int a, const char* from, int b, const char* to,
     int flags)

extern "C" int played_close(int) PLAYED(close);
int played_close(int file) {
    awaitDisk(file);
    note(file, false);
    return next<int(int)>("close")(file);
}
