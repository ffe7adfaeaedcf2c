// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/DiskFiles.h"

#include "Fluvane/Linux/FileWork.h"
#include "Fluvane/Linux/TemporaryCopy.h"
#include "TessivarPhrases/Phrases.h"

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

FileError failure(const SystemError& error) {
    return FileError(error.what(), isFull(error.code()));
}

/// None when that fails with the expected code.
Descriptor openedUnless(int expected, const std::string& path, int flags) {
    try {
        return tessivar::openRegular(path, flags | O_RDWR | O_NOFOLLOW, fileMode);
    } catch (const SystemError& error) {
        if (error.code() == expected) {
            return {};
        }
        throw failure(error);
    }
}

/// The file gets its name only when all else of it is as it should be. Not open when the name is taken;
/// absent where this can't be done.
std::optional<Descriptor> createdWhole(const std::filesystem::path& path, std::optional<std::int64_t> size,
                                       const Owner& owner) {
    auto file = tessivar::openNameless(path.parent_path().string(), fileMode);
    if (!file.isOpen()) {
        return std::nullopt;
    }
    setLength(file.get(), size.value_or(0));
    setMark(file.get(), owner);
    const int code = tessivar::giveName(file.get(), path.string());
    if (code != 0 && code != EEXIST) {
        return std::nullopt;
    }
    return code == 0 ? std::move(file) : Descriptor();
}

/// Likewise where only a file with a name can be made.
Descriptor createdByName(const std::string& path, std::optional<std::int64_t> size, const Owner& owner) {
    auto file = openedUnless(EEXIST, path, O_CREAT | O_EXCL);
    if (file.isOpen()) {
        try {
            setMark(file.get(), owner);
            setLength(file.get(), size.value_or(0));
        } catch (const FileError&) {
            (void)tessivar::unlinkIfSame(path, file.get());
            throw;
        }
    }
    return file;
}

bool isWithoutBytes(const Descriptor& file) {
    return statusOf(file.get()).st_size == 0 || (::lseek(file.get(), 0, SEEK_DATA) < 0 && errno == ENXIO);
}

/// The uppermost folder on the same device.
std::string mountPoint(std::filesystem::path path, dev_t device) {
    struct stat status {};
    while (path.has_relative_path() && ::stat(path.parent_path().c_str(), &status) == 0 &&
           status.st_dev == device) {
        path = path.parent_path();
    }
    return path.string();
}

/// Whether a file of ours there would have that owner. Somebody else could still change what is in theirs.
bool isOurs(const struct stat& status, const std::string& path) {
    if (status.st_uid == ::geteuid()) {
        return true;
    }
    try { // network and foreign file systems may give all files one owner
        const TemporaryCopy ours(std::filesystem::path(path).parent_path());
        return statusOf(ours.descriptor()).st_uid == status.st_uid;
    } catch (const SystemError&) {
        return false;
    }
}

/// Bytes that are under way must not come after the digest or the move.
void awaitWrites(const std::optional<WrittenFile>& written) {
    if (written && written->file) {
        written->file->awaitWrites();
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

DiskFile::DiskFile(Descriptor descriptor, std::shared_ptr<FailedSyncs> failed, std::string folder)
    : descriptor_(std::move(descriptor)), identity_(identityOf(statusOf(descriptor_.get()))),
      sparse_(fluvane::isSparse(descriptor_.get())), failed_(std::move(failed)), folder_(std::move(folder)),
      nameIsNew_(!folder_.empty()) {}

DiskFile::~DiskFile() {
    DiskFile::close();
}

void DiskFile::write(std::span<const std::byte> bytes, std::int64_t at) {
    if (closing_) {
        throw FileError(tessivar::kept("kept", "The file is closed."));
    }
    const std::shared_lock lock(lock_);
    if (!descriptor_.isOpen()) {
        throw FileError(tessivar::kept("kept", "The file is closed."));
    }
    if (const int code = syncFailure_; code != 0) {
        throw FileError(errorText(code), isFull(code));
    }
    const auto count = static_cast<std::int64_t>(bytes.size());
    while (!bytes.empty()) {
        const auto written = ::pwrite(descriptor_.get(), bytes.data(), bytes.size(), at);
        if (written < 0 && errno != EINTR) {
            throw FileError(errorText(errno), isFull(errno));
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
        throw FileError(tessivar::kept("kept", "The file is closed."));
    }
    while (!bytes.empty()) {
        const auto count = ::pread(descriptor_.get(), bytes.data(), bytes.size(), at);
        if (count == 0) {
            throw FileError(tessivar::kept("kept", "The file ends early."));
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
        syncName();
    } catch (const SystemError& error) {
        noteFailedSync(error.code());
        throw FileError(error.what());
    }
}

/// Bytes under a name that a power cut takes away are lost, too.
void DiskFile::syncName() {
    if (nameIsNew_) {
        tessivar::syncFolder(folder_);
        nameIsNew_ = false;
    }
}

void DiskFile::noteFailedSync(int code) {
    syncFailure_ = code;
    if (failed_) {
        failed_->add(identity_);
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

void DiskFile::awaitWrites() {
    const std::unique_lock lock(lock_);
}

DiskFileStore::DiskFileStore(MainQueue& mainQueue, const std::string& applicationIdentifier)
    : mainQueue_(mainQueue), downloads_(applicationIdentifier + ".files"),
      devices_(applicationIdentifier + ".files") {}

DiskFileStore::~DiskFileStore() {
    ending_ = true;
}

void DiskFileStore::aside(DownloadID download, std::function<void()> work, std::function<void()> done) {
    downloads_.async(static_cast<std::uint64_t>(download),
                     [this, work = std::move(work), done = std::move(done)]() mutable {
                         work();
                         work = nullptr; // what it holds may be an open file
                         if (done && ending_) {
                             done();
                         } else if (done) {
                             mainQueue_.post(std::move(done));
                         }
                     });
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
    const auto path = pathOf(location);
    const bool isThere = ::lstat(path.c_str(), &status) == 0;
    const bool isAlone = isThere && S_ISREG(status.st_mode) && status.st_nlink <= 1;
    return isAlone && isOurs(status, path) ? std::optional<std::int64_t>(status.st_size) : std::nullopt;
}

std::shared_ptr<PieceFile> DiskFileStore::create(const URL& location, std::optional<std::int64_t> size,
                                                 const Owner& owner) {
    const std::filesystem::path path = pathOf(location);
    const auto folder = path.parent_path().string();
    try {
        tessivar::createFolders(folder, folderMode);
    } catch (const SystemError& error) {
        throw failure(error);
    }
    auto file = createdWhole(path, size, owner);
    if (!file) {
        file = createdByName(path.string(), size, owner);
    }
    if (!file->isOpen()) {
        return nullptr;
    }
    auto created = std::make_shared<DiskFile>(*std::move(file), failedSyncs_, folder);
    failedSyncs_->forget(created->identity());
    return created;
}

Mark DiskFileStore::mark(const URL& location, const Owner& owner) {
    return markAt(pathOf(location), owner);
}

std::shared_ptr<PieceFile> DiskFileStore::open(const URL& location) {
    const auto path = pathOf(location);
    auto file = openedUnless(ENOENT, path, 0);
    if (!file.isOpen()) {
        return nullptr;
    }
    const auto status = statusOf(file.get());
    if (status.st_nlink > 1) { // what is written here would be in somebody else's file, too
        throw FileError(tessivar::kept("kept", "More than one name leads to it"));
    }
    if (!isOurs(status, path)) {
        throw FileError(tessivar::kept("kept", "It belongs to somebody else"));
    }
    auto opened = std::make_shared<DiskFile>(std::move(file), failedSyncs_);
    failedSyncs_->forget(opened->identity());
    return opened;
}

bool DiskFileStore::remove(const URL& location, const Owner& owner, bool wasCreated) {
    const std::filesystem::path path = pathOf(location);
    const auto folder = path.parent_path();
    try {
        const auto file = tessivar::openRegular(path.string(), O_RDONLY | O_NOFOLLOW);
        const auto mark = markOf(file.get(), owner);
        const bool isKnown = wasCreated && (mark == Mark::none || mark == Mark::unkept);
        if (mark == Mark::own || isKnown || (mark == Mark::unkept && isWithoutBytes(file))) {
            const int code = tessivar::unlinkIfSame(path.string(), file.get());
            if (code != 0) {
                throw SystemError(code);
            }
            tessivar::syncFolder(folder.string());
        }
        return true;
    } catch (const SystemError&) {
        struct stat status {};
        std::error_code ignored;
        const bool isThere = ::lstat(path.c_str(), &status) == 0;
        return isThere ? !S_ISREG(status.st_mode) : std::filesystem::is_directory(folder, ignored);
    }
}

std::optional<Space> DiskFileStore::space(const URL& folder) {
    std::filesystem::path path = pathOf(folder);
    struct statvfs volume {};
    while (::statvfs(path.c_str(), &volume) != 0) {
        const int code = errno;
        if (!path.has_relative_path() || (code != ENOENT && code != ENOTDIR)) {
            return std::nullopt;
        }
        path = path.parent_path();
    }
    if (volume.f_blocks == 0 || volume.f_frsize == 0) {
        return std::nullopt;
    }
    const auto bytes = [&](std::uint64_t blocks) {
        constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
        return static_cast<std::int64_t>(std::min<std::uint64_t>(blocks, most / volume.f_frsize) *
                                         volume.f_frsize);
    };
    struct stat status {};
    (void)::stat(path.c_str(), &status);
    return Space{.device = identityOf(status).device,
                 .free = bytes(volume.f_bavail),
                 .total = bytes(volume.f_blocks),
                 .place = mountPoint(path, status.st_dev)};
}

void DiskFileStore::checksum(const URL& file, const std::optional<WrittenFile>& written,
                             Checksum::Algorithm algorithm,
                             std::function<void(Outcome<std::string>)> completion) {
    // Where a finished file is, only the disk knows: those of a folder wait for each other.
    const auto folder = std::hash<std::string>()(std::filesystem::path(pathOf(file)).parent_path().string());
    run<std::string>(
        written ? written->identity.device : folder,
        [this, file, written, algorithm] {
            awaitWrites(written);
            return digestOf(pathOf(file), written, algorithm, ending_);
        },
        std::move(completion));
}

void DiskFileStore::move(const URL& from, const WrittenFile& written, const MoveTarget& target,
                         std::function<void(Outcome<std::optional<URL>>)> completion) {
    run<std::optional<URL>>(
        written.identity.device,
        [=, this] {
            awaitWrites(written);
            if (failedSyncs_->contains(written.identity)) {
                throw FileError(tessivar::kept("kept", "Some of its bytes didn't reach the disk."));
            }
            return FileMove(pathOf(from), written, target, ending_).run();
        },
        std::move(completion));
}

template <class T>
void DiskFileStore::run(std::uint64_t device, std::function<T()> work,
                        std::function<void(Outcome<T>)> completion) {
    devices_.async(device, [this, work = std::move(work), completion = std::move(completion)]() mutable {
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
