// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Platform.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fluvane::support {

/// The bytes of one file. From any thread.
class FileBytes {
public:
    virtual ~FileBytes() = default;
    [[nodiscard]] virtual std::int64_t size() const = 0;
    virtual void resize(std::int64_t size) = 0;
    virtual void write(std::span<const std::byte> bytes, std::int64_t at) = 0;
    virtual void read(std::span<std::byte> bytes, std::int64_t at) const = 0;
    [[nodiscard]] virtual FileIdentity identity() const = 0;
    virtual void sync() {}
    virtual void lose() {} ///< What wasn't synced, when that fails.
    /// Where it needs no reading.
    [[nodiscard]] virtual std::optional<std::string> digest() const { return std::nullopt; }

    std::optional<Owner> owner; ///< Whose mark it bears.
};

/// An unnamed file of the system's in memory, whose holes cost nothing, so that files of gigabytes may be
/// created.
class SparseBytes : public FileBytes {
public:
    explicit SparseBytes(std::uint64_t device)
        : device_(device), descriptor_(::memfd_create("file", MFD_CLOEXEC)) {}
    ~SparseBytes() override { ::close(descriptor_); }
    SparseBytes(const SparseBytes&) = delete;
    SparseBytes& operator=(const SparseBytes&) = delete;

    [[nodiscard]] std::int64_t size() const override { return ::lseek(descriptor_, 0, SEEK_END); }
    void resize(std::int64_t size) override;
    void write(std::span<const std::byte> bytes, std::int64_t at) override;
    void read(std::span<std::byte> bytes, std::int64_t at) const override;
    [[nodiscard]] FileIdentity identity() const override;

private:
    std::uint64_t device_;
    int descriptor_;
};

/// A FileStore in memory, for engine tests, with failures on demand.
///
///     MemoryFileStore files(scheduler);              // completions come through scheduler.after(0, …)
///     files.put("/downloads/a.zip", "taken");        // folders are implicit; keys are paths
///     files.freeSpace = 1'000;                       // absent (the start value): unknown
///     … run the engine …
///     EXPECT_EQ(files.contents("/downloads/a (1).zip"), body);
///     EXPECT_EQ(files.origins.back().second.url, link);
///
/// What is below "/other" is on a disk of its own, the device 2; all else is on the device 1.
///
/// As on a disk an open file outlives its name: it may be written after it was moved or removed. Work of
/// `checksum` and `move` happens within the call, its completion `completionDelay` seconds later.
class MemoryFileStore : public FileStore {
    /// What open files share with the store.
    struct Faults {
        std::optional<std::string> sync;
        std::set<FileIdentity> unsynced; ///< Those that a sync failed of, since they were opened.
        std::optional<std::string> full;
    };
    const std::shared_ptr<Faults> faults_ = std::make_shared<Faults>();

public:
    explicit MemoryFileStore(Scheduler& scheduler) : scheduler_(scheduler) {}
    MemoryFileStore(const MemoryFileStore&) = delete;
    MemoryFileStore& operator=(const MemoryFileStore&) = delete;

    void aside(DownloadID download, std::function<void()> work, std::function<void()> done) override;
    [[nodiscard]] bool exists(const URL& location) override;
    [[nodiscard]] bool isFolder(const URL& location) override;
    [[nodiscard]] std::optional<FileIdentity> identity(const URL& location) override;
    [[nodiscard]] std::optional<std::int64_t> size(const URL& location) override;
    [[nodiscard]] std::shared_ptr<PieceFile> create(const URL& location, std::optional<std::int64_t> size,
                                                    const Owner& owner) override;
    [[nodiscard]] Mark mark(const URL& location, const Owner& owner) override;
    [[nodiscard]] std::shared_ptr<PieceFile> open(const URL& location) override;
    bool remove(const URL& location, const Owner& owner, bool wasCreated) override;
    [[nodiscard]] std::optional<Space> space(const URL& folder) override;
    void checksum(const URL& file, const std::optional<WrittenFile>& written, Checksum::Algorithm algorithm,
                  std::function<void(Outcome<std::string>)> completion) override;
    void move(const URL& from, const WrittenFile& written, const MoveTarget& target,
              std::function<void(Outcome<std::optional<URL>>)> completion) override;

    /// The failures to play, each the text that the operation fails with for as long as it is set. Those of
    /// files hold for files already open too.
    std::optional<std::string> failCreate, failOpen, failFinish, failChecksum;
    std::optional<std::string>& failSync = faults_->sync;
    std::optional<std::string>& failFull = faults_->full; ///< Of writes and creations, for want of space.

    /// Runs right before a file is created there: somebody else may be faster.
    std::function<void(const std::string& path)> onCreate = [](const auto&) {};

    /// Downloads whose disk doesn't answer, until `answer`.
    std::set<DownloadID> hung;
    void answer(DownloadID download);
    /// Drops what doesn't answer, as when the process is killed.
    void forget() { waiting_.clear(); }

    std::optional<std::int64_t> freeSpace;
    bool sparse = true;
    bool keepsMarks = true;
    bool failRemove = false;
    std::set<std::string> missingFolders; ///< All others are there, though no file may be in them.
    double completionDelay = 0;

    std::vector<std::pair<std::string, FileOrigin>>
        origins; ///< Final path and origin of every file with one.

    /// What new files are made of.
    std::function<std::shared_ptr<FileBytes>(std::uint64_t device)> make = [](auto device) {
        return std::make_shared<SparseBytes>(device);
    };
    /// Null when there is none.
    [[nodiscard]] std::shared_ptr<FileBytes> bytes(const std::string& path) const;
    /// Replaces the file.
    void put(const std::string& path, std::string_view bytes, std::optional<Owner> owner = {});
    void take(const std::string& path) { files_.erase(path); }
    /// The whole file, absent when there is none.
    [[nodiscard]] std::optional<std::string> contents(const std::string& path) const;
    [[nodiscard]] std::vector<std::string> paths() const; ///< Sorted.

private:
    class File;

    template <class T>
    void complete(std::function<void(Outcome<T>)> completion, Outcome<T> outcome);
    /// The file at the location, made where there is none.
    [[nodiscard]] std::shared_ptr<FileBytes>& file(const URL& location);
    [[nodiscard]] std::string refusal(const std::string& path,
                                      const std::optional<WrittenFile>& written) const;
    [[nodiscard]] Outcome<std::string> digest(const std::string& path, Checksum::Algorithm algorithm) const;
    [[nodiscard]] Outcome<std::optional<URL>> move(const URL& from, const MoveTarget& target);

    Scheduler& scheduler_;
    std::map<std::string, std::shared_ptr<FileBytes>> files_;
    std::multimap<DownloadID, std::pair<std::function<void()>, std::function<void()>>> waiting_;
};

} // namespace fluvane::support
