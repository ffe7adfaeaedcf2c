// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TessivarCore/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <span>

namespace tessivar {

namespace {

constexpr std::size_t bufferSize = 256 * 1024;
constexpr std::size_t firstRead = 8 * 1024; // most files are small
constexpr int mostLinks = 40;               // as the kernel's own limit

void writeAll(int descriptor, const std::function<void(const AtomicFile::Put&)>& produce) {
    std::string buffer;
    produce([&](std::string_view part) {
        buffer += part;
        if (buffer.size() >= bufferSize) {
            writeFully(descriptor, std::as_bytes(std::span(buffer)));
            buffer.clear();
        }
    });
    writeFully(descriptor, std::as_bytes(std::span(buffer)));
}

/// Hidden, beside the file, always the same: what a crash left behind is cleared by the next write.
std::filesystem::path temporaryFor(const std::filesystem::path& file) {
    constexpr std::size_t longestKept = 240;
    return file.parent_path() / ("." + file.filename().string().substr(0, longestKept) + ".saving");
}

void refuseToReplace(const std::filesystem::path& file) {
    struct stat status {};
    if (::lstat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        throw S_ISDIR(status.st_mode) ? SystemError(EISDIR) : SystemError(EINVAL, "Not a regular file");
    }
}

/// Removes the file unless told that it is no longer there.
class Temporary {
public:
    explicit Temporary(std::filesystem::path path) : path_(std::move(path)) {}
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;
    ~Temporary() {
        if (!path_.empty()) {
            ::unlink(path_.c_str());
        }
    }
    void becomes(const std::filesystem::path& file) {
        if (::rename(path_.c_str(), file.c_str()) != 0) {
            throw SystemError(errno);
        }
        path_.clear();
    }

private:
    std::filesystem::path path_;
};

} // namespace

std::optional<std::string> AtomicFile::read(std::size_t limit) const {
    Descriptor file;
    try {
        file = openRegular(path_.string(), O_RDONLY);
    } catch (const SystemError& error) {
        if (error.code() == ENOENT) {
            return std::nullopt;
        }
        throw;
    }
    std::string contents;
    bool isMore = true;
    for (std::size_t chunk = firstRead; isMore; chunk = bufferSize) {
        const auto length = contents.size();
        contents.resize(length + chunk);
        const auto count =
            readFully(file.get(), reinterpret_cast<std::byte*>(contents.data() + length), chunk);
        contents.resize(length + count);
        isMore = count == chunk;
        if (contents.size() > limit) {
            throw SystemError(EFBIG);
        }
    }
    return contents;
}

void AtomicFile::write(const std::function<void(const Put&)>& produce, mode_t mode) const {
    const auto file = target();
    refuseToReplace(file);
    const auto temporaryPath = temporaryFor(file);
    ::unlink(temporaryPath.c_str());
    Descriptor descriptor(
        ::open(temporaryPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (!descriptor.isOpen()) {
        throw SystemError(errno);
    }
    Temporary temporary(temporaryPath);
    writeAll(descriptor.get(), produce);
    syncData(descriptor.get());
    descriptor = Descriptor();
    temporary.becomes(file);
    syncFolder(file.parent_path().string());
}

bool AtomicFile::setAside() const noexcept {
    return moveWithoutReplacing(path_.string(), path_.string() + ".unreadable") == 0;
}

bool AtomicFile::setAsideNumbered() const noexcept {
    constexpr int most = 99;
    bool moved = setAside();
    for (int number = 2; !moved && number <= most; ++number) {
        moved = moveWithoutReplacing(path_.string(),
                                     path_.string() + ".unreadable." + std::to_string(number)) == 0;
    }
    return moved;
}

std::filesystem::path AtomicFile::target() const {
    auto path = path_;
    for (int links = 0; links < mostLinks; ++links) {
        std::error_code none;
        const auto next = std::filesystem::read_symlink(path, none);
        if (none) {
            return path;
        }
        path = path.parent_path() / next; // an absolute one replaces all
    }
    throw SystemError(ELOOP);
}

} // namespace tessivar
