// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TessivarCore/FileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace tessivar {

namespace {

/// Repeats a call that a signal interrupted.
template <class Call>
auto restarting(Call&& call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

void refuseUnlessRegular(const struct stat& status) {
    if (S_ISDIR(status.st_mode)) {
        throw SystemError(EISDIR);
    }
    if (!S_ISREG(status.st_mode)) {
        throw SystemError(EINVAL, "Not a regular file");
    }
}

bool isUnsupported(int code) {
    return code == EINVAL || code == ENOSYS || code == EOPNOTSUPP;
}

} // namespace

std::string errorText(int code) {
    std::array<char, 256> buffer{};
    return strerror_r(code, buffer.data(), buffer.size());
}

std::string pathOfOpen(int descriptor) {
    return "/proc/self/fd/" + std::to_string(descriptor);
}

Descriptor openRegular(const std::string& path, int flags, mode_t mode) {
    if (path.find('\0') != std::string::npos) {
        throw SystemError(EINVAL);
    }
    struct stat status {};
    const bool mustBeNew = (flags & O_EXCL) != 0;
    const auto look = (flags & O_NOFOLLOW) != 0 ? ::lstat : ::stat;
    if (!mustBeNew && look(path.c_str(), &status) == 0) {
        refuseUnlessRegular(status); // before opening: opening a device may do things
    }
    Descriptor file(restarting([&] { return ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, mode); }));
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0) {
        throw SystemError(errno);
    }
    refuseUnlessRegular(status);
    return file;
}

Descriptor openNameless(const std::string& folder, mode_t mode) {
    Descriptor file(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, mode));
    const bool canBeNamed = file.isOpen() && ::access(pathOfOpen(file.get()).c_str(), F_OK) == 0;
    return canBeNamed ? std::move(file) : Descriptor();
}

int giveName(int nameless, const std::string& path) {
    const auto from = pathOfOpen(nameless);
    return ::linkat(AT_FDCWD, from.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0 ? 0 : errno;
}

std::size_t readFully(int descriptor, std::byte* into, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        const auto result = restarting([&] { return ::read(descriptor, into + done, count - done); });
        if (result < 0) {
            throw SystemError(errno);
        }
        if (result == 0) {
            break;
        }
        done += static_cast<std::size_t>(result);
    }
    return done;
}

void writeFully(int descriptor, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const auto result = restarting([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
        if (result < 0) {
            throw SystemError(errno);
        }
        bytes = bytes.subspan(static_cast<std::size_t>(result));
    }
}

void syncData(int descriptor) {
    if (restarting([&] { return ::fsync(descriptor); }) != 0) {
        throw SystemError(errno);
    }
}

void syncFolder(const std::string& folder) {
    const Descriptor opened(restarting(
        [&] { return ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (!opened.isOpen() && errno == EACCES) { // one that can't be listed
        return;
    }
    if (!opened.isOpen() ||
        (restarting([&] { return ::fsync(opened.get()); }) != 0 && !isUnsupported(errno))) {
        throw SystemError(errno);
    }
}

void createFolders(const std::filesystem::path& folder, mode_t mode) {
    struct stat status {};
    if (folder.empty() || (::stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode))) {
        return;
    }
    const auto parent = folder.parent_path();
    if (parent != folder) {
        createFolders(parent, mode);
    }
    if (::mkdir(folder.c_str(), mode) == 0) {
        syncFolder(parent);
        return;
    }
    const int code = errno;
    if (code != EEXIST || ::stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        throw SystemError(code == EEXIST ? ENOTDIR : code);
    }
}

bool nameTaken(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

bool isSame(const std::string& path, int descriptor) {
    struct stat named {};
    struct stat open {};
    return ::lstat(path.c_str(), &named) == 0 && ::fstat(descriptor, &open) == 0 &&
           named.st_dev == open.st_dev && named.st_ino == open.st_ino;
}

HeldFolder::HeldFolder(const std::filesystem::path& folder)
    : folder_(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    if (!folder_.isOpen()) {
        throw SystemError(errno);
    }
    path_ = pathOfOpen(folder_.get());
}

int unlinkIfSame(const std::string& path, int descriptor) {
    return isSame(path, descriptor) && ::unlink(path.c_str()) != 0 ? errno : 0;
}

int moveWithoutReplacing(const std::string& from, const std::string& to) {
    const int renamed = moveByExclusiveRename(from, to);
    if (!isUnsupported(renamed)) {
        return renamed;
    }
    const int linked = moveByLink(from, to);
    // EPERM, EMLINK: the file system or its settings allow no links.
    const bool mayReserve = isUnsupported(linked) || linked == EPERM || linked == EMLINK;
    return mayReserve ? moveByReservation(from, to) : linked;
}

/// A move goes by the name, so that only afterwards it is certain whose file it was.
int moveOpenWithoutReplacing(int descriptor, const std::string& from, const std::string& to) {
    if (!isSame(from, descriptor)) {
        return ESTALE;
    }
    const int code = moveWithoutReplacing(from, to);
    if (code != 0 || isSame(to, descriptor)) {
        return code;
    }
    (void)moveWithoutReplacing(to, from);
    return ESTALE;
}

int moveByExclusiveRename(const std::string& from, const std::string& to) {
    return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0 ? 0 : errno;
}

int moveByLink(const std::string& from, const std::string& to) {
    const Descriptor moved(::open(from.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!moved.isOpen() ||
        ::linkat(AT_FDCWD, pathOfOpen(moved.get()).c_str(), AT_FDCWD, to.c_str(), AT_SYMLINK_FOLLOW) != 0) {
        return errno;
    }
    const int code = unlinkIfSame(from, moved.get());
    if (code != 0) {
        (void)unlinkIfSame(to, moved.get());
    }
    return code;
}

int moveByReservation(const std::string& from, const std::string& to) {
    // Held open, so that its inode can't become another file's.
    const Descriptor reserved(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!reserved.isOpen()) {
        return errno;
    }
    if (!isSame(to, reserved.get())) {
        return EEXIST;
    }
    if (::rename(from.c_str(), to.c_str()) != 0) {
        const int code = errno;
        (void)unlinkIfSame(to, reserved.get());
        return code;
    }
    return 0;
}

} // namespace tessivar
