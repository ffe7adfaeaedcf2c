// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/MemoryFileStore.h"

#include "FluvaneCore/FileName.h"

#include <openssl/evp.h>
#include <sys/stat.h>

#include <fmt/ranges.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace fluvane::support {

namespace {

void failIf(const std::optional<std::string>& message) {
    if (message) {
        throw FileError(*message);
    }
}

std::uint64_t deviceOf(const std::string& path) {
    return path.starts_with("/other/") ? 2 : 1;
}

} // namespace

void SparseBytes::resize(std::int64_t size) {
    if (::ftruncate(descriptor_, size) != 0) {
        throw FileError(std::strerror(errno));
    }
}

void SparseBytes::write(std::span<const std::byte> bytes, std::int64_t at) {
    if (::pwrite(descriptor_, bytes.data(), bytes.size(), at) != std::ssize(bytes)) {
        throw FileError(std::strerror(errno));
    }
}

void SparseBytes::read(std::span<std::byte> bytes, std::int64_t at) const {
    if (::pread(descriptor_, bytes.data(), bytes.size(), at) != std::ssize(bytes)) {
        throw FileError("unreadable");
    }
}

FileIdentity SparseBytes::identity() const {
    struct stat status {};
    ::fstat(descriptor_, &status);
    return {.device = device_, .inode = status.st_ino};
}

class MemoryFileStore::File : public PieceFile {
public:
    File(std::shared_ptr<FileBytes> bytes, std::shared_ptr<Faults> faults, bool sparse)
        : bytes_(std::move(bytes)), faults_(std::move(faults)), sparse_(sparse) {}

    void write(std::span<const std::byte> bytes, std::int64_t at) override {
        const std::lock_guard lock(mutex_);
        if (closed_) {
            throw FileError("The file is closed.");
        }
        failIf(syncFailure_);
        if (faults_->full) {
            throw FileError(*faults_->full, true);
        }
        bytes_->write(bytes, at);
    }

    void read(std::span<std::byte> bytes, std::int64_t at) override { bytes_->read(bytes, at); }

    void sync() override {
        const std::lock_guard lock(mutex_);
        if (!syncFailure_ && faults_->sync) {
            bytes_->lose();
            syncFailure_ = faults_->sync;
            faults_->unsynced.insert(bytes_->identity());
        }
        failIf(syncFailure_);
        bytes_->sync();
    }

    void close() noexcept override {
        const std::lock_guard lock(mutex_);
        closed_ = true;
    }

    [[nodiscard]] FileIdentity identity() const override { return bytes_->identity(); }
    [[nodiscard]] bool isSparse() const override { return sparse_; }

private:
    std::shared_ptr<FileBytes> bytes_;
    std::shared_ptr<Faults> faults_;
    bool sparse_;
    std::mutex mutex_;
    std::optional<std::string> syncFailure_; ///< From then on nothing can be written.
    bool closed_ = false;
};

void MemoryFileStore::aside(DownloadID download, std::function<void()> work, std::function<void()> done) {
    if (hung.contains(download)) {
        waiting_.emplace(download, std::pair(std::move(work), std::move(done)));
        return;
    }
    work();
    if (done) {
        scheduler_.after(0, std::move(done));
    }
}

void MemoryFileStore::answer(DownloadID download) {
    hung.erase(download);
    while (auto next = waiting_.extract(download)) {
        aside(download, std::move(next.mapped().first), std::move(next.mapped().second));
    }
}

bool MemoryFileStore::exists(const URL& location) {
    const auto path = location.path();
    const auto below = files_.lower_bound(path + "/");
    return files_.contains(path) || (below != files_.end() && below->first.starts_with(path + "/"));
}

bool MemoryFileStore::isFolder(const URL& location) {
    return !files_.contains(location.path()) && !missingFolders.contains(location.path());
}

std::optional<FileIdentity> MemoryFileStore::identity(const URL& location) {
    const auto file = files_.find(location.path());
    return file == files_.end() ? std::nullopt : std::optional(file->second->identity());
}

std::optional<std::int64_t> MemoryFileStore::size(const URL& location) {
    const auto file = files_.find(location.path());
    return file == files_.end() ? std::nullopt : std::optional(file->second->size());
}

std::shared_ptr<PieceFile> MemoryFileStore::create(const URL& location, std::optional<std::int64_t> size,
                                                   const Owner& owner) {
    failIf(failCreate);
    if (faults_->full) {
        throw FileError(*faults_->full, true);
    }
    onCreate(location.path());
    if (exists(location)) {
        return nullptr;
    }
    file(location)->resize(sparse ? std::max<std::int64_t>(size.value_or(0), 0) : 0);
    file(location)->owner = keepsMarks ? std::optional(owner) : std::nullopt;
    return std::make_shared<File>(file(location), faults_, sparse);
}

Mark MemoryFileStore::mark(const URL& location, const Owner& owner) {
    const auto file = files_.find(location.path());
    if (!keepsMarks) {
        return Mark::unkept;
    }
    const auto mark = file == files_.end() ? std::nullopt : file->second->owner;
    return !mark ? Mark::none : *mark == owner ? Mark::own : Mark::anothers;
}

std::shared_ptr<PieceFile> MemoryFileStore::open(const URL& location) {
    failIf(failOpen);
    if (!files_.contains(location.path())) {
        return nullptr;
    }
    faults_->unsynced.erase(file(location)->identity());
    return std::make_shared<File>(file(location), faults_, sparse);
}

std::shared_ptr<FileBytes>& MemoryFileStore::file(const URL& location) {
    auto& bytes = files_[location.path()];
    if (!bytes) {
        bytes = make(deviceOf(location.path()));
    }
    return bytes;
}

bool MemoryFileStore::remove(const URL& location, const Owner& owner, bool wasCreated) {
    const auto file = files_.find(location.path());
    if (file == files_.end()) {
        return true;
    }
    const auto& bytes = *file->second;
    const bool isEmpty = !keepsMarks && bytes.size() == 0;
    if (bytes.owner.value_or(owner) == owner && (bytes.owner || wasCreated || isEmpty)) {
        if (failRemove) {
            return false;
        }
        files_.erase(file);
    }
    return true;
}

std::optional<Space> MemoryFileStore::space(const URL& folder) {
    return freeSpace ? std::optional(Space{.device = deviceOf(folder.path()),
                                           .free = *freeSpace,
                                           .total = 100 * *freeSpace,
                                           .place = "/disk"})
                     : std::nullopt;
}

void MemoryFileStore::checksum(const URL& file, const std::optional<WrittenFile>& written,
                               Checksum::Algorithm algorithm,
                               std::function<void(Outcome<std::string>)> completion) {
    const auto why = refusal(file.path(), written);
    complete(std::move(completion),
             why.empty() ? digest(file.path(), algorithm) : Outcome<std::string>::failure(why));
}

void MemoryFileStore::move(const URL& from, const WrittenFile& written, const MoveTarget& target,
                           std::function<void(Outcome<std::optional<URL>>)> completion) {
    const auto why = refusal(from.path(), written);
    complete(std::move(completion),
             why.empty() ? move(from, target) : Outcome<std::optional<URL>>::failure(why));
}

/// Empty when it is the file that was written; what isn't there is refused elsewhere.
std::string MemoryFileStore::refusal(const std::string& path,
                                     const std::optional<WrittenFile>& written) const {
    const auto file = files_.find(path);
    if (!written || file == files_.end()) {
        return "";
    }
    if (file->second->identity() != written->identity) {
        return "Another file has its name";
    }
    const auto size = file->second->size();
    return size == written->size.value_or(size) ? "" : "Another program changed it";
}

void MemoryFileStore::put(const std::string& path, std::string_view bytes, std::optional<Owner> owner) {
    auto file = std::make_shared<SparseBytes>(deviceOf(path));
    file->write(std::as_bytes(std::span(bytes)), 0);
    file->owner = owner;
    files_[path] = std::move(file);
}

std::optional<std::string> MemoryFileStore::contents(const std::string& path) const {
    const auto file = bytes(path);
    if (!file) {
        return std::nullopt;
    }
    std::string text(static_cast<std::size_t>(file->size()), '\0');
    file->read(std::as_writable_bytes(std::span(text)), 0);
    return text;
}

std::shared_ptr<FileBytes> MemoryFileStore::bytes(const std::string& path) const {
    const auto file = files_.find(path);
    return file == files_.end() ? nullptr : file->second;
}

std::vector<std::string> MemoryFileStore::paths() const {
    std::vector<std::string> all;
    std::ranges::transform(files_, std::back_inserter(all), [](const auto& file) { return file.first; });
    return all;
}

template <class T>
void MemoryFileStore::complete(std::function<void(Outcome<T>)> completion, Outcome<T> outcome) {
    scheduler_.after(completionDelay, [completion = std::move(completion), outcome = std::move(outcome)] {
        completion(outcome);
    });
}

Outcome<std::string> MemoryFileStore::digest(const std::string& path, Checksum::Algorithm algorithm) const {
    const auto file = files_.find(path);
    if (failChecksum || file == files_.end()) {
        return Outcome<std::string>::failure(failChecksum.value_or("No such file or directory"));
    }
    if (const auto known = file->second->digest()) {
        return Outcome<std::string>::success(*known);
    }
    const auto bytes = contents(path).value();
    unsigned char digest[EVP_MAX_MD_SIZE];
    std::size_t length = 0;
    EVP_Q_digest(nullptr, Checksum::name(algorithm).data(), nullptr, bytes.data(), bytes.size(), digest,
                 &length);
    return Outcome<std::string>::success(fmt::format("{:02x}", fmt::join(digest, digest + length, "")));
}

Outcome<std::optional<URL>> MemoryFileStore::move(const URL& from, const MoveTarget& target) {
    using Moved = Outcome<std::optional<URL>>;
    const auto file = files_.find(from.path());
    if (failFinish || file == files_.end()) {
        return Moved::failure(failFinish.value_or("No such file or directory"));
    }
    if (faults_->sync || faults_->unsynced.contains(file->second->identity())) {
        return Moved::failure("Some of its bytes didn't reach the disk.");
    }
    const auto isTaken = [&](const std::string& name) { return exists(target.folder.appending(name)); };
    if (!target.naming && isTaken(target.name)) {
        return Moved::success(std::nullopt);
    }
    if (target.copied) {
        *target.copied = file->second->size() / 2; // as is seen before the end
    }
    const auto place = target.folder.appending(
        target.naming ? fileName::unique(target.name, *target.naming, isTaken) : target.name);
    file->second->sync();
    auto moved = files_.extract(file);
    moved.key() = place.path();
    files_.insert(std::move(moved));
    if (target.origin) {
        origins.emplace_back(place.path(), *target.origin);
    }
    return Moved::success(place);
}

} // namespace fluvane::support
