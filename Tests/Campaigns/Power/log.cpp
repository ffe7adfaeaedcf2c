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
#include <fuse_lowlevel.h>
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
#include <string>
#include <thread>
#include <vector>

namespace {

enum class Kind : std::uint64_t { write, zeros, flush };
constexpr fuse_ino_t firstDisk = 2; ///< The folder is 1.
constexpr double forever = 86400;
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
void carryOut(Kind kind, fuse_ino_t number, off_t offset, std::size_t length,
              std::span<const char> bytes = {}) {
    const auto asked = loggedSoFar();
    thread_local std::minstd_rand chance(std::random_device{}());
    std::this_thread::sleep_for(std::chrono::microseconds(chance() % longestQueued));

    const std::lock_guard guard(lock);
    const auto at = static_cast<std::uint64_t>(offset);
    const std::array<std::uint64_t, 6> head{
        static_cast<std::uint64_t>(kind), number - firstDisk, at, length, asked, sizeof(head) + bytes.size()};
    append({reinterpret_cast<const char*>(head.data()), sizeof(head)});
    append(bytes);
    const auto place = disks[number - firstDisk].subspan(at, length);
    if (kind == Kind::write) {
        std::ranges::copy(bytes, place.begin());
    } else {
        std::ranges::fill(place, '\0');
    }
}

void write(fuse_req_t request, fuse_ino_t number, const char* bytes, std::size_t length, off_t at,
           fuse_file_info*) {
    carryOut(Kind::write, number, at, length, {bytes, length});
    fuse_reply_write(request, length);
}

void zero(fuse_req_t request, fuse_ino_t number, int, off_t at, off_t length, fuse_file_info*) {
    carryOut(Kind::zeros, number, at, static_cast<std::size_t>(length));
    fuse_reply_err(request, 0);
}

void flush(fuse_req_t request, fuse_ino_t number, int, fuse_file_info*) {
    carryOut(Kind::flush, number, 0, 0);
    fuse_reply_err(request, 0);
}

void read(fuse_req_t request, fuse_ino_t number, std::size_t length, off_t offset, fuse_file_info*) {
    const std::lock_guard guard(lock);
    const auto disk = disks[number - firstDisk];
    const auto at = std::min(static_cast<std::size_t>(offset), disk.size());
    fuse_reply_buf(request, disk.data() + at, std::min(length, disk.size() - at));
}

void open(fuse_req_t request, fuse_ino_t, fuse_file_info* file) {
    file->direct_io = 1; // what waits in a page cache would be logged too late
    fuse_reply_open(request, file);
}

struct stat statusOf(fuse_ino_t number) {
    struct stat status {};
    status.st_ino = number;
    status.st_mode = number < firstDisk ? S_IFDIR | 0700 : S_IFREG | 0600;
    status.st_size = number < firstDisk ? 0 : static_cast<off_t>(disks[number - firstDisk].size());
    return status;
}

void getStatus(fuse_req_t request, fuse_ino_t number, fuse_file_info*) {
    const auto status = statusOf(number);
    fuse_reply_attr(request, &status, forever);
}

void lookUp(fuse_req_t request, fuse_ino_t, const char* name) {
    for (std::size_t i = 0; i < disks.size(); ++i) {
        if (name == std::to_string(i)) {
            const auto status = statusOf(firstDisk + i);
            const fuse_entry_param entry{firstDisk + i, 0, status, forever, forever};
            fuse_reply_entry(request, &entry);
            return;
        }
    }
    fuse_reply_err(request, ENOENT);
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
    if (!session || fuse_session_mount(session, words[2]) != 0) {
        return 1;
    }
    fuse_loop_config several{.clone_fd = 0, .max_idle_threads = 10};
    return fuse_session_loop_mt(session, &several);
}
