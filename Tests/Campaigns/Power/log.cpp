// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// log <base image> <log> <empty folder>: shows in the folder, until that is unmounted, one file `disk`, which begins
// as the image and lives in memory. What is written to it, zeroed or discarded, and every flush, is appended to the log
// when it is done and before anybody is told so: whoever knows of something done finds it within the log's length.
//
// A record is five 64-bit numbers, and for a write its bytes:
// kind (0 write, 1 zeros, 2 flush), offset, length, the log's length when it was asked for, its own number of bytes.

#define FUSE_USE_VERSION 35

#include <fcntl.h>
#include <fuse_lowlevel.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <span>
#include <string_view>

namespace {

enum class Kind : std::uint64_t { write, zeros, flush };
constexpr fuse_ino_t diskNumber = 2;
constexpr double forever = 86400;

std::span<char> disk;
int logFile;
std::mutex lock; ///< For the disk's contents and the log.
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

/// Takes place and is logged at one moment.
void carryOut(Kind kind, std::uint64_t asked, std::uint64_t offset, std::uint64_t length,
              std::span<const char> bytes = {}) {
    const std::lock_guard guard(lock);
    const std::array<std::uint64_t, 5> head{static_cast<std::uint64_t>(kind), offset, length, asked,
                                            sizeof(head) + bytes.size()};
    append({reinterpret_cast<const char*>(head.data()), sizeof(head)});
    append(bytes);
    logged += sizeof(head) + bytes.size();
    const auto place = disk.begin() + static_cast<std::ptrdiff_t>(offset);
    if (kind == Kind::write) {
        std::ranges::copy(bytes, place);
    } else if (kind == Kind::zeros) {
        std::fill_n(place, length, '\0');
    }
}

bool isInside(off_t offset, std::uint64_t length) {
    const auto at = static_cast<std::uint64_t>(offset);
    return offset >= 0 && at <= disk.size() && length <= disk.size() - at;
}

struct stat statusOf(fuse_ino_t number) {
    struct stat status {};
    status.st_ino = number;
    status.st_mode = number == diskNumber ? S_IFREG | 0600 : S_IFDIR | 0700;
    status.st_nlink = 1;
    status.st_size = number == diskNumber ? static_cast<off_t>(disk.size()) : 0;
    return status;
}

void lookUp(fuse_req_t request, fuse_ino_t, const char* name) {
    if (std::string_view(name) != "disk") {
        fuse_reply_err(request, ENOENT);
        return;
    }
    fuse_entry_param entry{};
    entry.ino = diskNumber;
    entry.attr = statusOf(diskNumber);
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

void read(fuse_req_t request, fuse_ino_t, std::size_t length, off_t offset, fuse_file_info*) {
    const std::lock_guard guard(lock);
    const auto at = std::min(static_cast<std::size_t>(offset), disk.size());
    fuse_reply_buf(request, disk.data() + at, std::min(length, disk.size() - at));
}

void write(fuse_req_t request, fuse_ino_t, const char* bytes, std::size_t length, off_t offset, fuse_file_info*) {
    const auto asked = loggedSoFar();
    if (!isInside(offset, length)) {
        fuse_reply_err(request, ENOSPC);
        return;
    }
    carryOut(Kind::write, asked, static_cast<std::uint64_t>(offset), length, {bytes, length});
    fuse_reply_write(request, length);
}

void zero(fuse_req_t request, fuse_ino_t, int, off_t offset, off_t length, fuse_file_info*) {
    const auto asked = loggedSoFar();
    if (!isInside(offset, static_cast<std::uint64_t>(length))) {
        fuse_reply_err(request, ENOSPC);
        return;
    }
    carryOut(Kind::zeros, asked, static_cast<std::uint64_t>(offset), static_cast<std::uint64_t>(length));
    fuse_reply_err(request, 0);
}

void sync(fuse_req_t request, fuse_ino_t, int, fuse_file_info*) {
    carryOut(Kind::flush, loggedSoFar(), 0, 0);
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
    if (count != 4) {
        return 2;
    }
    disk = contents(words[1]);
    logFile = ::open(words[2], O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
    fuse_lowlevel_ops operations{};
    operations.lookup = lookUp;
    operations.getattr = getStatus;
    operations.open = open;
    operations.read = read;
    operations.write = write;
    operations.fallocate = zero;
    operations.fsync = sync;
    fuse_args arguments = FUSE_ARGS_INIT(1, words);
    fuse_session* const session = fuse_session_new(&arguments, &operations, sizeof(operations), nullptr);
    if (disk.empty() || logFile < 0 || !session || fuse_session_mount(session, words[3]) != 0) {
        return 1;
    }
    fuse_loop_config several{};
    several.max_idle_threads = 10;
    const int result = fuse_session_loop_mt(session, &several);
    fuse_session_unmount(session);
    return result == 0 ? 0 : 1;
}
