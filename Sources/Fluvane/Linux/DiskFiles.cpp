// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/DiskFiles.h"

#include "Fluvane/Linux/FileWork.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <mutex>
#include <utility>

namespace fluvane {

namespace {

using tessivar::Descriptor;
using tessivar::errorText;
using tessivar::SystemError;

constexpr mode_t fileMode = 0644;
constexpr mode_t folderMode = 0777;
/// Bytes after which the kernel is asked to start writing, which keeps the next sync short.
constexpr std::int64_t writebackEvery = 8LL * 1024 * 1024;

/// None when that fails with the expected code.
Descriptor openedUnless(int expected, const std::string& path, int flags) {
    try {
        return tessivar::openRegular(path, flags | O_RDWR | O_NOFOLLOW, fileMode);
    } catch (const SystemError& error) {
        if (error.code() == expected) {
            return {};
        }
        throw FileError(error.what());
    }
}

void setLength(const Descriptor& file, std::int64_t size) {
    while (::ftruncate(file.get(), size) != 0) {
        if (errno != EINTR) {
            throw FileError(errorText(errno));
        }
    }
}

} // namespace

void FailedSyncs::add(const FileIdentity& file) {
    const std::lock_guard lock(mutex_);
    files_.insert(file);
}

void FailedSyncs::forget(const FileIdentity& file) {
    const std::lock_guard lock(mutex_);
    files_.erase(file);
}

bool FailedSyncs::contains(const FileIdentity& file) const {
    const std::lock_guard lock(mutex_);
    return files_.contains(file);
}

DiskFile::~DiskFile() {
    close();
}

void DiskFile::write(std::span<const std::byte> bytes, std::int64_t at) {
    if (closing_) {
        throw FileError("The file is closed.");
    }
    const std::shared_lock lock(lock_);
    if (!descriptor_.isOpen()) {
        throw FileError("The file is closed.");
    }
    if (const int code = syncFailure_; code != 0) {
        throw FileError(errorText(code));
    }
    const auto count = static_cast<std::int64_t>(bytes.size());
    while (!bytes.empty()) {
        const auto written = ::pwrite(descriptor_.get(), bytes.data(), bytes.size(), at);
        if (written < 0 && errno != EINTR) {
            throw FileError(errorText(errno));
        }
        if (written > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(written));
            at += written;
        }
    }
    beginWritingBack(count);
}

void DiskFile::read(std::span<std::byte> bytes, std::int64_t at) {
    const std::shared_lock lock(lock_);
    if (!descriptor_.isOpen()) {
        throw FileError("The file is closed.");
    }
    while (!bytes.empty()) {
        const auto count = ::pread(descriptor_.get(), bytes.data(), bytes.size(), at);
        if (count == 0) {
            throw FileError("The file ends early.");
        }
        if (count < 0 && errno != EINTR) {
            throw FileError(errorText(errno));
        }
        if (count > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
            at += count;
        }
    }
}

void DiskFile::beginWritingBack(std::int64_t written) {
    if (sinceWriteback_.fetch_add(written, std::memory_order_relaxed) + written < writebackEvery) {
        return;
    }
    if (sinceWriteback_.exchange(0, std::memory_order_relaxed) >= writebackEvery) {
        ::sync_file_range(descriptor_.get(), 0, 0, SYNC_FILE_RANGE_WRITE); // only a hint
    }
}

void DiskFile::sync() {
    const std::shared_lock lock(lock_);
    if (const int code = syncFailure_; code != 0) {
        throw FileError(errorText(code)); // the system tells of lost bytes only once
    }
    if (!descriptor_.isOpen()) {
        return;
    }
    try {
        tessivar::syncData(descriptor_.get());
    } catch (const SystemError& error) {
        noteFailedSync(error.code());
        throw FileError(error.what());
    }
}

void DiskFile::noteFailedSync(int code) {
    syncFailure_ = code;
    if (failed_) {
        failed_->add(identityOf(statusOf(descriptor_.get())));
    }
}

void DiskFile::close() noexcept {
    closing_ = true;
    const std::unique_lock lock(lock_);
    if (descriptor_.isOpen()) {
        if (::fsync(descriptor_.get()) != 0 && syncFailure_ == 0) {
            noteFailedSync(errno);
        }
        descriptor_ = Descriptor();
    }
}

FileIdentity DiskFile::identity() const {
    const std::shared_lock lock(lock_);
    return identityOf(statusOf(descriptor_.get()));
}

DiskFileStore::DiskFileStore(MainQueue& mainQueue, const std::string& applicationIdentifier)
    : mainQueue_(mainQueue), queue_(applicationIdentifier + ".files") {}

DiskFileStore::~DiskFileStore() {
    ending_ = true;
}

bool DiskFileStore::exists(const URL& location) {
    return tessivar::nameTaken(pathOf(location));
}

bool DiskFileStore::isFolder(const URL& location) {
    struct stat status {};
    return ::stat(pathOf(location).c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::optional<FileIdentity> DiskFileStore::identity(const URL& location) {
    struct stat status {};
    const bool isThere = ::lstat(pathOf(location).c_str(), &status) == 0;
    return isThere ? std::optional(identityOf(status)) : std::nullopt;
}

std::optional<std::int64_t> DiskFileStore::size(const URL& location) {
    struct stat status {};
    const bool isThere = ::lstat(pathOf(location).c_str(), &status) == 0;
    const bool isAlone = isThere && S_ISREG(status.st_mode) && status.st_nlink <= 1;
    return isAlone ? std::optional<std::int64_t>(status.st_size) : std::nullopt;
}

std::shared_ptr<PieceFile> DiskFileStore::create(const URL& location, std::optional<std::int64_t> size) {
    const std::filesystem::path path = pathOf(location);
    try {
        tessivar::createFolders(path.parent_path(), folderMode);
    } catch (const SystemError& error) {
        throw FileError(error.what());
    }
    auto file = openedUnless(EEXIST, path.string(), O_CREAT | O_EXCL);
    if (!file.isOpen()) {
        return nullptr;
    }
    try {
        if (size.value_or(0) >= 1) {
            setLength(file, *size);
        }
    } catch (const FileError&) {
        (void)tessivar::unlinkIfSame(path.string(), file.get());
        throw;
    }
    failedSyncs_->forget(identityOf(statusOf(file.get())));
    return std::make_shared<DiskFile>(std::move(file), failedSyncs_);
}

std::shared_ptr<PieceFile> DiskFileStore::open(const URL& location) {
    auto file = openedUnless(ENOENT, pathOf(location), 0);
    if (!file.isOpen()) {
        return nullptr;
    }
    if (statusOf(file.get()).st_nlink > 1) { // what is written here would be in somebody else's file, too
        throw FileError("More than one name leads to it");
    }
    failedSyncs_->forget(identityOf(statusOf(file.get())));
    return std::make_shared<DiskFile>(std::move(file), failedSyncs_);
}

void DiskFileStore::remove(const URL& location) {
    const auto path = pathOf(location);
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
        ::unlink(path.c_str());
    }
}

std::optional<std::int64_t> DiskFileStore::availableSpace(const URL& folder) {
    std::filesystem::path path = pathOf(folder);
    struct statvfs volume {};
    while (::statvfs(path.c_str(), &volume) != 0) {
        const int code = errno;
        if (!path.has_relative_path() || (code != ENOENT && code != ENOTDIR)) {
            return std::nullopt;
        }
        path = path.parent_path();
    }
    if (volume.f_blocks == 0 || volume.f_frsize == 0 || volume.f_bavail == 0) {
        // A file system that doesn't count. On a really full one the write says so.
        return std::nullopt;
    }
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(std::min<std::uint64_t>(volume.f_bavail, most / volume.f_frsize) *
                                     volume.f_frsize);
}

void DiskFileStore::checksum(const URL& file, const std::optional<WrittenFile>& written,
                             Checksum::Algorithm algorithm,
                             std::function<void(Outcome<std::string>)> completion) {
    run<std::string>(
        [this, file, written, algorithm] { return digestOf(pathOf(file), written, algorithm, ending_); },
        std::move(completion));
}

void DiskFileStore::finish(const URL& partial, const WrittenFile& written, const std::string& name,
                           const URL& folder, DuplicateNaming naming, const FileOrigin& origin,
                           std::function<void(Outcome<URL>)> completion) {
    run<URL>(
        [=, this] {
            if (failedSyncs_->contains(written.identity)) {
                throw FileError("Some of its bytes didn't reach the disk.");
            }
            return FinalMove(pathOf(partial), written, name, folder, naming, origin, ending_).run();
        },
        std::move(completion));
}

template <class T>
void DiskFileStore::run(std::function<T()> work, std::function<void(Outcome<T>)> completion) {
    queue_.async([this, work = std::move(work), completion = std::move(completion)]() mutable {
        const auto outcome = [&]() -> std::optional<Outcome<T>> {
            try {
                return ending_ ? std::nullopt : std::optional(Outcome<T>::success(work()));
            } catch (const WorkAbandoned&) {
                return std::nullopt;
            } catch (const std::exception& error) {
                return Outcome<T>::failure(error.what());
            }
        }();
        if (outcome) {
            mainQueue_.post(
                [completion = std::move(completion), outcome = *outcome] { completion(outcome); });
        }
    });
}

} // namespace fluvane
