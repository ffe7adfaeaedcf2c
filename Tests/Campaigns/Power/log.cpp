// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// log <log> <empty folder> <image>…: shows in the folder, until that is unmounted, a disk for each image, 0,
// 1…, which begins as the image and lives in memory. What is written to one, zeroed or discarded, and every
// flush, is appended to the log when it is done and before anybody is told so: whoever knows of something
// done finds it within the log's length. As in a drive's queue, what is under way at once is done in any
// order.
//
// A record is six 64-bit numbers, and for a write its bytes: kind (0 write, 1 zeros, 2 flush), disk, offset,
// length, the log's length when it was asked for, its own number of bytes.

#define FUSE_USE_VERSION 35

#include <fcntl.h>
#include <fuse.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <random>
#include <span>
#include <thread>
#include <vector>

namespace {

enum class Kind : std::uint64_t { write, zeros, flush };
constexpr unsigned longestQueued = 1000; ///< Microseconds.

std::vector<std::span<char>> disks;
int logFile;
std::mutex lock; ///< For what is on the disks, and the log.
std::uint64_t logged = 0;

void append(std::span<const char> bytes) {
    if (::write(logFile, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        std::abort(); // a log with a hole would be worse than none
    }
    logged += bytes.size();
}

std::uint64_t loggedSoFar() {
    const std::lock_guard guard(lock);
    return logged;
}

/// Takes place, and is logged, at one moment.
int carryOut(Kind kind, const fuse_file_info* file, off_t offset, off_t length,
             std::span<const char> bytes = {}) {
    const auto asked = loggedSoFar();
    thread_local std::minstd_rand chance(std::random_device{}());
    std::this_thread::sleep_for(std::chrono::microseconds(chance() % longestQueued));

    const std::lock_guard guard(lock);
    const auto at = static_cast<std::uint64_t>(offset);
    const auto count = static_cast<std::uint64_t>(length);
    const std::array<std::uint64_t, 6> head{static_cast<std::uint64_t>(kind), file->fh, at, count, asked,
                                            sizeof(head) + bytes.size()};
    append({reinterpret_cast<const char*>(head.data()), sizeof(head)});
    append(bytes);
    const auto place = disks[file->fh].subspan(at, count);
    if (kind == Kind::write) {
        std::ranges::copy(bytes, place.begin());
    } else {
        std::ranges::fill(place, '\0');
    }
    return static_cast<int>(bytes.size());
}

int write(const char*, const char* bytes, std::size_t length, off_t at, fuse_file_info* file) {
    return carryOut(Kind::write, file, at, static_cast<off_t>(length), {bytes, length});
}

int zero(const char*, int, off_t at, off_t length, fuse_file_info* file) {
    return carryOut(Kind::zeros, file, at, length);
}

int flush(const char*, int, fuse_file_info* file) {
    return carryOut(Kind::flush, file, 0, 0);
}

int read(const char*, char* bytes, std::size_t length, off_t offset, fuse_file_info* file) {
    const std::lock_guard guard(lock);
    const auto disk = disks[file->fh];
    const auto part = disk.subspan(std::min(static_cast<std::size_t>(offset), disk.size()));
    return static_cast<int>(std::ranges::copy(part.first(std::min(length, part.size())), bytes).out - bytes);
}

/// A path is "/" or that of a disk.
int getStatus(const char* path, struct stat* status, fuse_file_info*) {
    const auto number = static_cast<std::size_t>(std::atoi(path + 1));
    const bool isFolder = path[1] == '\0';
    status->st_mode = isFolder ? S_IFDIR | 0700 : S_IFREG | 0600;
    status->st_size = isFolder || number >= disks.size() ? 0 : static_cast<off_t>(disks[number].size());
    return isFolder || number < disks.size() ? 0 : -ENOENT;
}

int open(const char* path, fuse_file_info* file) {
    file->fh = static_cast<std::uint64_t>(std::atoi(path + 1));
    file->direct_io = 1; // what waits in a page cache would be logged too late
    return 0;
}

/// What is changed stays in memory.
std::span<char> contents(const char* path) {
    const int file = ::open(path, O_RDONLY | O_CLOEXEC);
    const auto size = static_cast<std::size_t>(::lseek(file, 0, SEEK_END));
    void* const bytes = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE, file, 0);
    if (bytes == MAP_FAILED) {
        std::exit(1);
    }
    return {static_cast<char*>(bytes), size};
}

} // namespace

int main(int count, char** words) {
    logFile = ::open(words[1], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    for (const char* const image : std::span(words, static_cast<std::size_t>(count)).subspan(3)) {
        disks.push_back(contents(image));
    }
    fuse_operations operations{};
    operations.getattr = getStatus;
    operations.open = open;
    operations.read = read;
    operations.write = write;
    operations.fallocate = zero;
    operations.fsync = flush;
    char stay[] = "-f";
    char* options[] = {words[0], stay, words[2], nullptr};
    return fuse_main(3, options, &operations, nullptr);
}
