// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// log <log> <empty folder> <image>…: shows in the folder, until that is unmounted, a disk for each image, 0, 1…, which
// begins as the image and lives in memory. What is written to one, zeroed or discarded, and every flush, is appended to
// the log when it is done and before anybody is told so: whoever knows of something done finds it within the log's
// length. As in a drive's queue, writes that are under way at once are done in any order.
//
// A record is six 64-bit numbers, and for a write its bytes: kind (0 write, 1 zeros, 2 flush), disk, offset, length,
// the log's length when it was asked for, its own number of bytes.

#define FUSE_USE_VERSION 35

#include <fcntl.h>
#include <fuse_lowlevel.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <random>
#include <span>
#include <thread>
#include <vector>

namespace {

enum class Kind : std::uint64_t { write, zeros, flush };
constexpr fuse_ino_t firstDisk = 2; ///< The folder is 1.
constexpr double forever = 86400;
constexpr std::uint64_t longestQueued = 1000; ///< Microseconds.

std::vector<std::span<char>> disks;
int logFile;
std::mutex lock; ///< For what is on the disks, and the log.
std::uint64_t logged = 0;

std::uint64_t loggedSoFar() {
    const std::lock_guard guard(lock);
    return logged;
}

void append(std::span<const char> bytes) {
    while (!bytes.empty()) {
        const auto count = ::write(logFile, bytes.data(), bytes.size());
        if (count <= 0) {
            std::perror("log");
            std::abort(); // a log with a hole would be worse than none
        }
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

void waitInQueue() {
    thread_local std::minstd_rand chance(std::random_device{}());
    std::this_thread::sleep_for(std::chrono::microseconds(chance() % longestQueued));
}

/// Takes place and is logged at one moment.
void carryOut(Kind kind, fuse_ino_t number, std::uint64_t asked, std::uint64_t offset, std::uint64_t length,
              std::span<const char> bytes = {}) {
    const std::lock_guard guard(lock);
    const std::array<std::uint64_t, 6> head{
        static_cast<std::uint64_t>(kind), number - firstDisk, offset, length, asked, sizeof(head) + bytes.size()};
    append({reinterpret_cast<const char*>(head.data()), sizeof(head)});
    append(bytes);
    logged += sizeof(head) + bytes.size();
    const auto place = disks[number - firstDisk].subspan(offset, length);
    if (kind == Kind::write) {
        std::ranges::copy(bytes, place.begin());
    } else {
        std::ranges::fill(place, '\0');
    }
}

bool isInside(fuse_ino_t number, off_t offset, std::uint64_t length) {
    const auto size = disks[number - firstDisk].size();
    const auto at = static_cast<std::uint64_t>(offset);
    return offset >= 0 && at <= size && length <= size - at;
}

struct stat statusOf(fuse_ino_t number) {
    const bool isDisk = number >= firstDisk;
    struct stat status {};
    status.st_ino = number;
    status.st_mode = isDisk ? S_IFREG | 0600 : S_IFDIR | 0700;
    status.st_nlink = 1;
    status.st_size = isDisk ? static_cast<off_t>(disks[number - firstDisk].size()) : 0;
    return status;
}

void lookUp(fuse_req_t request, fuse_ino_t, const char* name) {
    fuse_entry_param entry{};
    entry.ino = firstDisk + static_cast<fuse_ino_t>(*name - '0');
    if (*name < '0' || entry.ino - firstDisk >= disks.size() || name[1] != '\0') {
        fuse_reply_err(request, ENOENT);
        return;
    }
    entry.attr = statusOf(entry.ino);
    entry.attr_timeout = entry.entry_timeout = forever;
    fuse_reply_entry(request, &entry);
}

void getStatus(fuse_req_t request, fuse_ino_t number, fuse_file_info*) {
    const auto status = statusOf(number);
    fuse_reply_attr(request, &status, forever);
}

void open(fuse_req_t request, fuse_ino_t, fuse_file_info* file) {
    file->direct_io = 1; // what waits in a page cache would be logged too late
    fuse_reply_open(request, file);
}

void read(fuse_req_t request, fuse_ino_t number, std::size_t length, off_t offset, fuse_file_info*) {
    const std::lock_guard guard(lock);
    const auto disk = disks[number - firstDisk];
    const auto at = std::min(static_cast<std::size_t>(offset), disk.size());
    fuse_reply_buf(request, disk.data() + at, std::min(length, disk.size() - at));
}

void write(fuse_req_t request, fuse_ino_t number, const char* bytes, std::size_t length, off_t offset,
           fuse_file_info*) {
    const auto asked = loggedSoFar();
    if (!isInside(number, offset, length)) {
        fuse_reply_err(request, ENOSPC);
        return;
    }
    waitInQueue();
    carryOut(Kind::write, number, asked, static_cast<std::uint64_t>(offset), length, {bytes, length});
    fuse_reply_write(request, length);
}

void zero(fuse_req_t request, fuse_ino_t number, int, off_t offset, off_t length, fuse_file_info*) {
    const auto asked = loggedSoFar();
    if (!isInside(number, offset, static_cast<std::uint64_t>(length))) {
        fuse_reply_err(request, ENOSPC);
        return;
    }
    carryOut(Kind::zeros, number, asked, static_cast<std::uint64_t>(offset), static_cast<std::uint64_t>(length));
    fuse_reply_err(request, 0);
}

void flush(fuse_req_t request, fuse_ino_t number, int, fuse_file_info*) {
    const auto asked = loggedSoFar();
    waitInQueue();
    carryOut(Kind::flush, number, asked, 0, 0);
    fuse_reply_err(request, 0);
}

/// What is changed stays in memory.
std::span<char> contents(const char* path) {
    const int file = ::open(path, O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (file < 0 || ::fstat(file, &status) != 0) {
        return {};
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    void* const bytes = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE, file, 0);
    return bytes == MAP_FAILED ? std::span<char>() : std::span(static_cast<char*>(bytes), size);
}

} // namespace

int main(int count, char** words) {
    if (count < 4) {
        return 2;
    }
    logFile = ::open(words[1], O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
    for (const char* const image : std::span(words, static_cast<std::size_t>(count)).subspan(3)) {
        disks.push_back(contents(image));
    }
    fuse_lowlevel_ops operations{};
    operations.lookup = lookUp;
    operations.getattr = getStatus;
    operations.open = open;
    operations.read = read;
    operations.write = write;
    operations.fallocate = zero;
    operations.fsync = flush;
    fuse_args arguments = FUSE_ARGS_INIT(1, words);
    fuse_session* const session = fuse_session_new(&arguments, &operations, sizeof(operations), nullptr);
    if (logFile < 0 || !session || fuse_session_mount(session, words[2]) != 0) {
        return 1;
    }
    fuse_loop_config several{};
    several.max_idle_threads = 10;
    const int result = fuse_session_loop_mt(session, &several);
    fuse_session_unmount(session);
    return result == 0 ? 0 : 1;
}
